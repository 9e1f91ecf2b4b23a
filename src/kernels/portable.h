#ifndef OXEL_KERNELS_PORTABLE_H
#define OXEL_KERNELS_PORTABLE_H

#include "forms.h"

namespace [[gnu::visibility("hidden")]] oxel {

extern const Form portable_form;

void write_pixels(const std::uint8_t *indices, std::size_t count, const std::uint8_t (*colours)[4],
                  std::uint8_t *pixels);

} // namespace oxel

#endif
