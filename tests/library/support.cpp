#include "support.h"

#include "Oxel_Morvel6_render.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <stdexcept>
#ifndef __wasi__
#include <sys/mman.h>
#include <unistd.h>
#endif

int random_below(Random &random, int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
}

Bytes random_bytes(Random &random, std::size_t count, int largest) {
    Bytes bytes(count);
    for (auto &byte : bytes)
        byte = static_cast<std::uint8_t>(random_below(random, largest + 1));
    return bytes;
}

std::vector<std::vector<std::string>> worked(const std::string &name) {
    std::ifstream file(OXEL_RECORDS "/worked/" + name + ".txt");
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(file, line);)
        if (std::istringstream words(line); !line.empty() && line[0] != '#')
            rows.emplace_back(std::istream_iterator<std::string>(words),
                              std::istream_iterator<std::string>());
    if (rows.empty())
        throw std::runtime_error("no rows in worked/" + name + ".txt");
    return rows;
}

#ifdef __wasi__ // whose memory has no pages that could be made unreadable
GuardedBytes::GuardedBytes(const Bytes &content)
    : size_(content.size()), mapping_(new std::uint8_t[content.size() + 1]), bytes_(mapping_) {
    std::copy(content.begin(), content.end(), bytes_);
}

GuardedBytes::~GuardedBytes() {
    delete[] mapping_;
}
#else
GuardedBytes::GuardedBytes(const Bytes &content) : size_(content.size()) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t readable = (size_ + page - 1) / page * page;
    mapped_ = readable + 2 * page;
    void *mapping = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    mapping_ = static_cast<std::uint8_t *>(mapping);
    bytes_ = mapping_ + page + (guards_start ? 0 : readable - size_);
    if (mapping == MAP_FAILED ||
        (readable > 0 && mprotect(mapping_ + page, readable, PROT_READ | PROT_WRITE) != 0))
        throw std::runtime_error("no guarded memory");
    std::copy(content.begin(), content.end(), bytes_);
}

GuardedBytes::~GuardedBytes() {
    munmap(mapping_, mapped_);
}
#endif

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
    package[10] = static_cast<std::uint8_t>(codes.size());
    package[11] = static_cast<std::uint8_t>(codes.size() >> 8);
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
    return {random_bytes(random, 3 * entries), random_bytes(random, entries),
            random_bytes(random, 3 * cell_count), random_bytes(random, cell_count, colours - 1)};
}

Tables nearest_tables(Random &random, int colours) {
    Tables tables = random_tables(random, colours);
    for (std::size_t cell = 0; cell < cell_count; ++cell) {
        const auto distance = [&](std::size_t index) {
            int sum = 0;
            for (std::size_t c = 0; c < 3; ++c) {
                const int channel = static_cast<int>(cell >> (12 - 6 * c) & 63) * 4 + 2;
                sum += (channel - tables.palette[3 * index + c]) *
                       (channel - tables.palette[3 * index + c]);
            }
            return sum;
        };
        std::uint8_t nearest = 0;
        for (std::uint8_t index = 1; index < colours; ++index)
            if (distance(index) < distance(nearest))
                nearest = index;
        tables.quantisation[cell] = nearest;
    }
    return tables;
}

void adopt(const Bytes &package) {
    static std::unique_ptr<GuardedBytes> adopted;
    auto candidate = std::make_unique<GuardedBytes>(package);
    if (Oxel_Morvel6_render_init(candidate->get(), candidate->size()) != OXEL_SUCCESS)
        throw std::runtime_error("package not adopted");
    adopted = std::move(candidate);
}
