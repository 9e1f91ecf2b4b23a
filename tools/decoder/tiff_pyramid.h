#ifndef OXEL_TOOLS_TIFF_PYRAMID_H
#define OXEL_TOOLS_TIFF_PYRAMID_H

namespace oxel::tools {

/// The smaller versions of its first picture that a TIFF holds.
struct TiffPyramid {
    int halvings = 0;    // of the smallest that comes after all larger ones
    bool nested = false; // they are directories of the picture's own, not pages
};

/// Only what the file marks as a smaller version counts, if its sides are halves and its pixels of
/// the same kind: other pages may show something else. A file that is no TIFF holds none.
TiffPyramid tiff_pyramid(int file);

} // namespace oxel::tools

#endif
