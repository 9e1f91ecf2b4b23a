#ifndef OXEL_TOOLS_BLUR_H
#define OXEL_TOOLS_BLUR_H

#include "base/image_size.h"

#include <vector>

namespace oxel::tools {

/// A number a pixel.
using Plane = std::vector<float>;

/// The mean over (2 radius + 1) pixels each way, as far as they lie in the picture.
Plane box_blur(const Plane &plane, ImageSize size, int radius);

/// About a Gaussian blur: three box blurs, of the picture at a fraction of its size if `sigma`, in
/// pixels, is large.
Plane blur(const Plane &plane, ImageSize size, float sigma);

} // namespace oxel::tools

#endif
