#ifndef OXEL_TOOLS_LOADERS_H
#define OXEL_TOOLS_LOADERS_H

#include "base/image_size.h"
#include "pictures/framing.h"

#include <vips/vips8>

namespace oxel::tools {

/// From now on libvips reads pictures only: JPEG, PNG, WebP, TIFF, GIF, HEIF and AVIF, JPEG XL,
/// JPEG 2000, PNM, SVG and PDF, as far as it can. libvips must be running.
void block_other_loaders();

/// A picture that has been opened: its header is read.
struct OpenPicture {
    vips::VImage image;
    bool drawing;      // without pixels of its own: opened again at another scale, it is sharper
    int most_halvings; // how small the decoder can make it
    double shift;      // of its pixels' middles, in pixels to the left and up
};

/// In which size a picture is opened.
struct Opening {
    double scale = 1; // of a drawing
    int halvings = 0; // of another one's sides
    bool smooth_text = true;
};

/// Opens the picture in a file, which stays open. A PDF is opened only if `document` says that one
/// is expected. Throws std::runtime_error for other formats, which it names, and for more than the
/// limits allow; vips::VError.
OpenPicture open_picture_file(int file, bool document, Opening opening,
                              const PictureLimits &limits);

/// Throws std::runtime_error that names the limit.
void check_pixels(ImageSize size, const PictureLimits &limits);

} // namespace oxel::tools

#endif
