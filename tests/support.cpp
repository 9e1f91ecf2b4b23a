#include "support.h"

#include "Oxel_Morvel6_render.h"

#include <gtest/gtest.h>

#include <memory>
#include <sys/mman.h>
#include <unistd.h>

Bytes random_bytes(Random &random, std::size_t count, int largest) {
    std::uniform_int_distribution<int> distribution(0, largest);
    Bytes bytes(count);
    for (auto &byte : bytes)
        byte = static_cast<std::uint8_t>(distribution(random));
    return bytes;
}

GuardedBytes::GuardedBytes(const Bytes &content) : size_(content.size()) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t readable = (size_ + page - 1) / page * page;
    mapped_ = readable + page;
    mapping_ = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping_ == MAP_FAILED ||
        mprotect(static_cast<char *>(mapping_) + readable, page, PROT_NONE) != 0)
        throw std::bad_alloc();
    start_ = static_cast<std::uint8_t *>(mapping_) + readable - size_;
    std::copy(content.begin(), content.end(), start_);
}

GuardedBytes::~GuardedBytes() {
    munmap(mapping_, mapped_);
}

void put_u32(Bytes &bytes, std::size_t offset, std::uint32_t value) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

void put_crc(Bytes &package) {
    const std::size_t trailer = package.size() - 4;
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 0; i < trailer; ++i) {
        crc ^= package[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 1 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
    }
    put_u32(package, trailer, ~crc);
}

Bytes Tables::package(const std::vector<int> &order, std::size_t gap) const {
    const Bytes *tables[] = {&palette, &codes, &gamut, &quantisation};
    Bytes package(28, 0xA5);
    package[10] = static_cast<std::uint8_t>(colour_number);
    package[11] = static_cast<std::uint8_t>(colour_number >> 8);
    for (const int table : order) {
        package.insert(package.end(), gap, 0xFF);
        put_u32(package, 12 + 4 * static_cast<std::size_t>(table),
                static_cast<std::uint32_t>(package.size()));
        package.insert(package.end(), tables[table]->begin(), tables[table]->end());
    }
    package.resize(package.size() + 4);
    put_u32(package, 6, static_cast<std::uint32_t>(package.size()));
    put_crc(package);
    return package;
}

Tables random_tables(Random &random, int colours) {
    const auto entries = static_cast<std::size_t>(colours);
    return {colours, random_bytes(random, 3 * entries), random_bytes(random, entries),
            random_bytes(random, 3 * cell_count), random_bytes(random, cell_count, colours - 1)};
}

Tables two_colour_tables() {
    Tables tables{2, {0, 0, 0, 255, 255, 255}, {0x10, 0x21}};
    for (std::size_t cell = 0; cell < cell_count; ++cell) {
        tables.quantisation[cell] = cell >> 12 >= 32;
        for (std::size_t channel = 0; channel < 3; ++channel)
            tables.gamut[3 * cell + channel] =
                static_cast<std::uint8_t>((cell >> (12 - 6 * channel) & 63) << 2);
    }
    return tables;
}

void adopt(const Bytes &package) {
    static std::unique_ptr<GuardedBytes> adopted;
    auto candidate = std::make_unique<GuardedBytes>(package);
    ASSERT_EQ(Oxel_Morvel6_render_init(candidate->get(), static_cast<uint32_t>(candidate->size())),
              OXEL_SUCCESS);
    adopted = std::move(candidate);
}

namespace {

bool refuse_allocation() {
    if (HeapFaults::fail_after == 0)
        return true;
    if (HeapFaults::fail_after > 0)
        --HeapFaults::fail_after;
    ++HeapFaults::live;
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
    HeapFaults::live -= memory != nullptr;
    __real_free(memory);
}
}
