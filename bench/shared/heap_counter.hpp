// Counter of heap use: replaces malloc() of the program that links it, so that it sees C++, OpenSSL and everything
// else.
#pragma once

#include <cstddef>

namespace Bench {

/// Heap use since construction. Only one may exist at a time.
class HeapWatch {
  public:
    HeapWatch();
    HeapWatch(const HeapWatch&) = delete;
    HeapWatch& operator=(const HeapWatch&) = delete;

    /// The largest number of bytes allocated at once, beyond those allocated before. Counts usable block sizes, and
    /// does not count both blocks while realloc() moves one.
    std::size_t peakBytes() const;
    /// Calls of malloc(), calloc(), realloc() and the functions for aligned memory.
    std::size_t allocations() const;

  private:
    std::size_t liveBefore_, allocationsBefore_;
};

/// Throws unless allocations by C++, the C library and OpenSSL are counted.
void checkHeapWatch();

}  // namespace Bench
