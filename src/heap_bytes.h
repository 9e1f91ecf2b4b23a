#ifndef OXEL_HEAP_BYTES_H
#define OXEL_HEAP_BYTES_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace [[gnu::visibility("hidden")]] oxel {

/// Work memory of one call. Null when the heap is exhausted: nothing here throws.
class HeapBytes {
  public:
    static HeapBytes zeroed(std::size_t count) {
        return HeapBytes(static_cast<std::uint8_t *>(std::calloc(count, 1)));
    }
    /// Of no bytes, too: for those some heaps return null, which would look like exhaustion.
    static HeapBytes uninitialised(std::size_t count) {
        return HeapBytes(static_cast<std::uint8_t *>(std::malloc(count == 0 ? 1 : count)));
    }

    HeapBytes(const HeapBytes &) = delete;
    HeapBytes &operator=(const HeapBytes &) = delete;
    ~HeapBytes() { std::free(bytes_); }

    explicit operator bool() const { return bytes_ != nullptr; }
    std::uint8_t *get() const { return bytes_; }

  private:
    explicit HeapBytes(std::uint8_t *bytes) : bytes_(bytes) {}

    std::uint8_t *bytes_;
};

} // namespace oxel

#endif
