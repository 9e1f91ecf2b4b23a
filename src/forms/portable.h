#ifndef OXEL_FORMS_PORTABLE_H
#define OXEL_FORMS_PORTABLE_H

#include "forms.h"

namespace [[gnu::visibility("hidden")]] oxel {

extern const Form portable_form;

// Those of its loops that other forms share.
void write_pixels(const std::uint8_t *indices, std::size_t count, const ColourTable &colours,
                  std::uint8_t *pixels);
void count_indices(const std::uint8_t *indices, std::size_t count, int colours,
                   std::int32_t *counts);
void power(double *numbers, std::size_t count, double exponent);
void adjust(const PixelRun &run, const Adjustment &adjustment);
void map_bytes(std::uint8_t *bytes, std::size_t count, const std::uint8_t (&curve)[256]);
void merge_rows(const std::uint8_t *first, const std::uint8_t *second, std::size_t count,
                std::uint8_t *pairs);
void split_row(const std::uint8_t *pairs, std::size_t count, std::uint8_t *first,
               std::uint8_t *second);
std::uint32_t crc32(std::uint32_t crc, const std::uint8_t *bytes, std::size_t count,
                    const CrcTables &tables);

} // namespace oxel

#endif
