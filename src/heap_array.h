#ifndef OXEL_HEAP_ARRAY_H
#define OXEL_HEAP_ARRAY_H

#include <cstddef>
#include <cstdlib>

namespace [[gnu::visibility("hidden")]] oxel {

/// Work memory of one call. Null where there was none to be had: nothing here throws.
template <class T>
class HeapArray {
  public:
    /// All bytes zero.
    static HeapArray zeroed(std::size_t count) {
        return HeapArray(static_cast<T *>(std::calloc(count, sizeof(T))));
    }
    static HeapArray uninitialised(std::size_t count) {
        // Some heaps have no block of no bytes.
        return HeapArray(static_cast<T *>(std::malloc(count == 0 ? 1 : count * sizeof(T))));
    }

    HeapArray(const HeapArray &) = delete;
    HeapArray &operator=(const HeapArray &) = delete;
    ~HeapArray() { std::free(elements_); }

    explicit operator bool() const { return elements_ != nullptr; }
    T *get() const { return elements_; }

  private:
    explicit HeapArray(T *elements) : elements_(elements) {}

    T *elements_;
};

} // namespace oxel

#endif
