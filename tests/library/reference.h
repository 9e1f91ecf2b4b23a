#ifndef OXEL_TESTS_REFERENCE_H
#define OXEL_TESTS_REFERENCE_H

#include "support.h"

// The pipeline formulated a second time, for small images and without regard to speed: all in R,
// G, B, over an error plane of the whole image.

struct Case {
    Bytes input;
    std::uint32_t rgb_order;
    int width;
    int height;
    std::uint32_t mode;
};

/// The palette index of each pixel of a gamut-mapped R, G, B image.
Bytes reference_dithering(const Tables &tables, const Bytes &mapped, int width, int height,
                          std::uint32_t mode);

/// The palette index of each pixel; `rows_down` rows of zero bytes come in above the input.
Bytes reference_indices(const Tables &tables, const Case &c, int rows_down = 0);

/// The image that an output type makes of palette indices.
Bytes reference_output(const Tables &tables, const Bytes &indices, std::uint32_t output_order,
                       int output_type);

/// The line-pair measure, counted index by index.
double reference_measure(const Bytes &indices, int width, int height, int colours);

#endif
