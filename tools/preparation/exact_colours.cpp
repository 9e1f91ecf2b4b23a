#include "preparation/exact_colours.h"

#include "preparation/light.h"

#include <algorithm>

namespace oxel::tools {

ExactColours::ExactColours(std::span<const std::uint8_t> palette)
    : inks_(palette.size() / 3), greens_(65536) {
    const auto mark = [this](int green) {
        for (int light = std::max(green - rounding, 0); light <= std::min(green + rounding, 65535);
             ++light)
            greens_[static_cast<std::size_t>(light)] = true;
    };
    mark(0);
    mark(65535);
    for (std::size_t i = 0; i < inks_.size(); ++i) {
        light_of_bytes(palette.subspan(3 * i, 3), inks_[i]);
        mark(inks_[i][1]);
    }
}

} // namespace oxel::tools
