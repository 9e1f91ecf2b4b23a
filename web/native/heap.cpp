// The heap of modules that allocate seldom and mostly much: a list of what is free. The C library's
// own is made for the contrary, and would be a tenth of the code that a page has to load.
#include <cstddef>
#include <cstdint>
#include <cstring>

extern "C" unsigned char __heap_base; // from here on memory is unused

namespace {

constexpr std::size_t page = 65536;

struct alignas(16) Block { // as what follows it is aligned
    std::size_t size;      // with this
    Block *next;           // while it is free
};

Block *first_free = nullptr; // by address, and no two of them touch

unsigned char *end_of(Block *block) {
    return reinterpret_cast<unsigned char *>(block) + block->size;
}

void add_free(Block *block) {
    Block *before = nullptr;
    Block *after = first_free;
    for (; after && after < block; after = after->next)
        before = after;
    block->next = after;
    (before ? before->next : first_free) = block;
    Block *const joins[] = {block, before};
    for (Block *both : joins)
        if (both && both->next && end_of(both) == reinterpret_cast<unsigned char *>(both->next)) {
            both->size += both->next->size;
            both->next = both->next->next;
        }
}

/// Adds `size` bytes or more behind all that there are.
bool grow(std::size_t size) {
    static unsigned char *end = nullptr; // of what the heap has had
    if (!end) {
        const auto base = reinterpret_cast<std::uintptr_t>(&__heap_base);
        end = reinterpret_cast<unsigned char *>((base + alignof(Block) - 1) & -alignof(Block));
    }
    const auto start = reinterpret_cast<std::uintptr_t>(end);
    const std::size_t unused = __builtin_wasm_memory_size(0) * page - start;
    std::size_t pages = 0;
    if (unused < size) {
        pages = (size - unused - 1) / page + 1;
        if (__builtin_wasm_memory_grow(0, pages) == SIZE_MAX)
            return false;
    }
    auto *block = reinterpret_cast<Block *>(end);
    block->size = unused + pages * page;
    end += block->size;
    add_free(block);
    return true;
}

} // namespace

extern "C" {

void *malloc(std::size_t count) {
    if (count > SIZE_MAX - 2 * sizeof(Block))
        return nullptr;
    const std::size_t size = (count + 2 * sizeof(Block) - 1) & -sizeof(Block);
    do
        for (Block **link = &first_free; *link; link = &(*link)->next) {
            Block *const block = *link;
            if (block->size < size)
                continue;
            if (block->size == size) {
                *link = block->next;
            } else {
                auto *rest =
                    reinterpret_cast<Block *>(reinterpret_cast<unsigned char *>(block) + size);
                *rest = {block->size - size, block->next};
                *link = rest;
                block->size = size;
            }
            return block + 1;
        }
    while (grow(size));
    return nullptr;
}

void *calloc(std::size_t count, std::size_t size) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes))
        return nullptr;
    void *const memory = malloc(bytes);
    return memory ? std::memset(memory, 0, bytes) : nullptr;
}

void free(void *memory) {
    if (memory)
        add_free(static_cast<Block *>(memory) - 1);
}
}
