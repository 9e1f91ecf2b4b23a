#ifndef OXEL_TOOLS_GUARD_PLOT_H
#define OXEL_TOOLS_GUARD_PLOT_H

#include "base/files.h"
#include "base/image_size.h"

#include <string>
#include <vector>

namespace oxel::tools {

/// What one diffusion contributes to the power guard's measure, line pair by line pair.
struct GuardSeries {
    std::string name;
    std::vector<double> first;
    std::vector<double> shifted;
};

/// An SVG with the picture, given as PNG, and beside it each series down the picture's rows.
std::string guard_plot(const Bytes &picture, ImageSize size,
                       const std::vector<GuardSeries> &series);

} // namespace oxel::tools

#endif
