#ifndef OXEL_TOOLS_DEFLATE_H
#define OXEL_TOOLS_DEFLATE_H

#include "base/bytes.h"

#include <cstddef>
#include <span>

namespace oxel::tools {

// All that frames need of a compressor, so that a program without zlib can bring its own. The same
// bytes always give the same file: nothing holds the time.

enum class Wrapping {
    zlib, // RFC 1950, as in PNG
    gzip, // RFC 1952
};

/// Dithered pixels repeat little, so that a search for repetitions takes much and gives little. Low
/// effort finds only bytes that are the same as the one before.
enum class Effort { full, low };

Bytes deflate_bytes(std::span<const std::uint8_t> bytes, Wrapping wrapping,
                    Effort effort = Effort::full);

/// Throws std::runtime_error if `bytes` are damaged, end too early, or hold more than `limit`.
Bytes inflate_bytes(std::span<const std::uint8_t> bytes, Wrapping wrapping, std::size_t limit);

/// CRC-32 of IEEE 802.3, as in PNG.
std::uint32_t crc_of(std::span<const std::uint8_t> bytes);

} // namespace oxel::tools

#endif
