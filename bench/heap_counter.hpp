// What a program that this is linked into takes from the heap: C++, OpenSSL and everything else, by a malloc of its own
// over the C library's.
#pragma once

#include <cstddef>

namespace Bench {

/// What happens on the heap during its lifetime. One at a time.
class HeapWatch {
  public:
    HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    /// The most bytes that were live at once, less those that were before; as the heap rounds them, and without what a
    /// moving realloc() has twice for a moment.
    std::size_t peakBytes() const;
    /// Calls of malloc(), calloc(), realloc() and the aligned ones.
    std::size_t allocations() const;

  private:
    std::size_t liveBefore_, allocationsBefore_;
};

/// Throws unless allocations by C++, by the C library and by OpenSSL are seen.
void tryHeapWatch();

}  // namespace Bench
