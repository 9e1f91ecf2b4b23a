#include "counted_heap.h"

#include <cstddef>

int succeeding_allocations = -1;
int live_allocations = 0;

namespace {

bool refuse_allocation() {
    if (succeeding_allocations == 0)
        return true;
    succeeding_allocations -= succeeding_allocations > 0;
    ++live_allocations;
    return false;
}

} // namespace

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void __real_free(void *memory);

void *__wrap_malloc(std::size_t size) {
    return refuse_allocation() ? nullptr : __real_malloc(size);
}
void *__wrap_calloc(std::size_t count, std::size_t size) {
    return refuse_allocation() ? nullptr : __real_calloc(count, size);
}
void __wrap_free(void *memory) {
    live_allocations -= memory != nullptr;
    __real_free(memory);
}
}
