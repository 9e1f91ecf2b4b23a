#ifndef OXEL_FORMS_PORTABLE_H
#define OXEL_FORMS_PORTABLE_H

#include "../adjustment.h"
#include "../diffusion.h"

#include <cstddef>
#include <cstdint>

namespace [[gnu::visibility("hidden")]] oxel {

constexpr std::size_t cache_line = 64;

/// Slice k holds the CRC-32 of each byte followed by k zero bytes.
constexpr std::size_t crc_slices = 8;
using CrcTables = std::uint32_t[crc_slices][256];

/// The plain procedures, one pixel after the other: what a form does unless it says otherwise, and
/// what all forms must agree with.
namespace portable {

/// Bytes of work memory, zeroed and aligned to a cache line, that `diffuse` wants.
std::uint64_t diffusion_memory(const DiffusionJob &job);
void diffuse(const DiffusionJob &job, void *memory);

/// Writes the first three bytes of each index's colour. All 256 colours may be read.
void write_pixels(const std::uint8_t *indices, std::size_t count, const ColourTable &colours,
                  std::uint8_t *pixels);

/// Adds how often each of the first `colours` indices (at most 256) occurs; others may be
/// counted, too. `counts` has 256 entries.
void count_indices(const std::uint8_t *indices, std::size_t count, int colours,
                   std::int32_t *counts);

/// Replaces each of the numbers by my_pow(number, exponent).
void power(double *numbers, std::size_t count, double exponent);

/// Adjusts hue, saturation and lightness.
void adjust(const PixelRun &run, const Adjustment &adjustment);
void map_bytes(std::uint8_t *bytes, std::size_t count, const std::uint8_t (&curve)[256]);

/// Puts `count` pixels of two rows side by side, a pixel of each in turn. One of the rows may
/// be the second half of `pairs`.
void merge_rows(const std::uint8_t *first, const std::uint8_t *second, std::size_t count,
                std::uint8_t *pairs);

/// The counterpart. `second` may begin where `first` ends.
void split_row(const std::uint8_t *pairs, std::size_t count, std::uint8_t *first,
               std::uint8_t *second);

/// Takes a reflected CRC-32 on over more bytes. A CRC begins with all bits set and is complete when
/// all of them are inverted: both are up to the caller.
std::uint32_t crc32(std::uint32_t crc, const std::uint8_t *bytes, std::size_t count,
                    const CrcTables &tables);

} // namespace portable

} // namespace oxel

#endif
