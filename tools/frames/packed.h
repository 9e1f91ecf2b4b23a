#ifndef OXEL_TOOLS_PACKED_H
#define OXEL_TOOLS_PACKED_H

#include "frames/frame_format.h"

namespace oxel::tools {

// Rows of codes of 1, 2, 4 or 8 bits: the leftmost pixel in the highest bits of the first byte. A
// row begins with a byte of its own; bits that are left at its end are 0.

/// Rows may be longer than their pixels need: to a multiple of `alignment` bytes.
std::size_t packed_row_bytes(int bits, std::int32_t width, std::size_t alignment = 1);

/// Throws std::runtime_error if a code needs more than `bits`.
Bytes pack(int bits, const FrameImage &frame, std::size_t alignment = 1);

/// The same of one byte a pixel, each of which must fit.
Bytes pack_indices(int bits, std::span<const std::uint8_t> indices, ImageSize size);

/// Of at least as many bytes as pack gives.
Bytes unpack(int bits, std::span<const std::uint8_t> packed, ImageSize size,
             std::size_t alignment = 1);

/// The smallest number of bits that holds codes of so many bits, and that packs: 1, 2, 4 or 8.
int packed_bits(int bits);
int packed_bits_of(const Codes &codes);

/// A bit plane a bit of the code, the lowest bit's first; each is packed with one bit.
Bytes encode_planes(const FrameImage &frame);
Bytes decode_planes(std::span<const std::uint8_t> file, const Codes &codes, ImageSize &size);

} // namespace oxel::tools

#endif
