#ifndef OXEL_TOOLS_PREROLL_H
#define OXEL_TOOLS_PREROLL_H

#include "base/image_size.h"

#include <cstdint>
#include <span>

namespace oxel::tools {

/// How many rows a picture should have put above itself before it is rendered, which are cut off
/// afterwards: a diffusion starts without errors, and so shows the first rows too dark or too
/// light. An even number, so that a serpentine diffusion runs through the picture as it would have.
/// None if the picture would become too large for the library.
int preroll_rows(ImageSize size);

/// Fills the first `rows` rows with the mirrored picture, which stands below them. `bytes` holds
/// rows + height rows of 3 bytes a pixel.
void mirror_above(std::span<std::uint8_t> bytes, ImageSize picture, int rows);

} // namespace oxel::tools

#endif
