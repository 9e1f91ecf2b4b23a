// Frames' files without a compressor: the host has one, and puts it in the place of what is stored
// here (see frames.ts).
#include "frames/deflate.h"

#include <algorithm>
#include <stdexcept>

namespace oxel::tools {

/// RFC 1950 with stored blocks; of gzip nothing is asked.
Bytes deflate_bytes(std::span<const std::uint8_t> bytes, Wrapping, Effort) {
    constexpr std::size_t most = 65535; // in a block
    Bytes stored = {0x78, 0x01};
    std::uint32_t low = 1; // Adler-32
    std::uint32_t high = 0;
    for (const std::uint8_t byte : bytes) {
        low = (low + byte) % 65521;
        high = (high + low) % 65521;
    }
    do {
        const std::size_t size = std::min(bytes.size(), most);
        const auto low_byte = static_cast<std::uint8_t>(size);
        const auto high_byte = static_cast<std::uint8_t>(size >> 8);
        stored.insert(stored.end(), {std::uint8_t(size == bytes.size()), low_byte, high_byte,
                                     std::uint8_t(~low_byte), std::uint8_t(~high_byte)});
        stored.insert(stored.end(), bytes.begin(), bytes.begin() + std::ptrdiff_t(size));
        bytes = bytes.subspan(size);
    } while (!bytes.empty());
    for (const std::uint32_t sum : {high, low})
        stored.insert(stored.end(), {std::uint8_t(sum >> 8), std::uint8_t(sum)});
    return stored;
}

Bytes inflate_bytes(std::span<const std::uint8_t>, Wrapping, std::size_t) {
    throw std::runtime_error("cannot be decompressed here");
}

std::uint32_t crc_of(std::span<const std::uint8_t> bytes) {
    std::uint32_t crc = ~0U;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320U : 0U);
    }
    return ~crc;
}

} // namespace oxel::tools
