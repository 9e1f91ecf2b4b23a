#ifndef OXEL_TOOLS_INK_RUNS_H
#define OXEL_TOOLS_INK_RUNS_H

#include "base/image_size.h"
#include "preparation/ink_colours.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

/// Pixels of one ink, one after the other in a row.
struct InkRun {
    std::uint32_t begin; // places of pixels
    std::uint32_t end;
    std::uint32_t area; // the run that stands for those that are connected

    std::uint32_t size() const { return end - begin; }
};

/// What a picture has of exact ink.
struct InkRuns {
    std::vector<std::int16_t> exact; // the ink of each pixel, or -1
    std::vector<InkRun> runs;
    std::vector<std::uint32_t> sizes; // of the area that each run stands for
};

/// Finds them in a picture of 3 channels of light, or of bytes, a pixel.
InkRuns find_ink_runs(std::span<const std::uint16_t> light, ImageSize size,
                      const InkColours &colours);
InkRuns find_ink_runs(std::span<const std::uint8_t> bytes, ImageSize size,
                      const InkColours &colours);

} // namespace oxel::tools

#endif
