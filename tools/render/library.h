#ifndef OXEL_TOOLS_LIBRARY_H
#define OXEL_TOOLS_LIBRARY_H

#include "base/files.h"
#include "base/image_size.h"
#include "package_builder/patch_simulation.h"

#include <string>
#include <vector>

namespace oxel::tools {

// The rendering library with exceptions: statuses become Failures that blame `panel`.

/// The library's version: "2.2.1".
std::string library_version();

/// What changed in it from version to version, without a line's end behind the last.
std::string library_log();

/// Adopts a package, which must outlive all renders.
void adopt_package(const std::string &panel, const Bytes &package);

/// The names of enum Oxel_dithering_mode, each at the place of its value.
extern const std::vector<std::string> dither_names;

/// What stands behind them in the place of a mode: nothing is diffused.
constexpr int undiffused = dithering_modes;

/// The three forms of a rendered picture, 3 bytes a pixel.
struct Rendering {
    Bytes tcon;
    Bytes nominal; // filled only for panels of six colours
    Bytes measured;
};

/// Which of them are wanted.
struct Forms {
    bool tcon = false;
    bool nominal = false;
    bool measured = false;
};

/// The first colours of the adopted package, which must have so many, as renders show them.
Rendering renderings_of_colours(std::size_t count);

/// Forms that are not wanted may be filled, too.
Rendering render(const std::string &panel, const Bytes &rgb, ImageSize size, int dithering_mode,
                 const Forms &wanted);

/// Renders to one form (enum Oxel_output_type) under the power guard's threshold. Returns the
/// verdict, enum Oxel_guard_result.
int render_guarded(const std::string &panel, const Bytes &rgb, ImageSize size, int dithering_mode,
                   double threshold, int output_type, Bytes &output);

/// From now on renders write palette indices in the place of TCON codes.
void write_indices_for_codes();

/// Amounts of Oxel_image_adjustment.
struct Adjustment {
    int hue = 0;
    int saturation = 0;
    int brightness = 0;
    int contrast = 0;
    double gamma = 1;

    bool operator==(const Adjustment &) const = default;
};

void adjust(Bytes &rgb, ImageSize size, const Adjustment &adjustment);

/// Rearranges an image for the panel's driving layout (enum Oxel_tft_mode, or 0 for none). The size
/// becomes that of the frame. A layout that would drop an odd row or column is a Failure.
void apply_layout(const std::string &panel, int layout, Bytes &image, ImageSize &size);

/// The size of a frame in this layout.
ImageSize layout_size(int layout, ImageSize size);

/// Undoes apply_layout; `size` is that of the frame and becomes that of the picture.
void undo_layout(const std::string &panel, int layout, Bytes &frame, ImageSize &size);

} // namespace oxel::tools

#endif
