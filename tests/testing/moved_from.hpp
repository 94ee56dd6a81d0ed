// Objects that were moved from.
#pragma once

#include <utility>

namespace Testing {

/// The same pointer, which clang-tidy cannot follow.
void* untracked(void* object) noexcept;

/// The object, after it was moved from: what is then called on it must not crash.
template <class T>
T& movedFrom(T& object) {
    void* same = untracked(&object);
    const T taken = std::move(object);  // NOLINT(performance-move-const-arg): some types copy instead
    return *static_cast<T*>(untracked(same));
}

}  // namespace Testing
