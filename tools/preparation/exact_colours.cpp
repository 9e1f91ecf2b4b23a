#include "preparation/exact_colours.h"

#include "preparation/light.h"

namespace oxel::tools {

ExactColours::ExactColours(std::span<const std::uint8_t> palette) : inks_(palette.size() / 3) {
    for (std::size_t i = 0; i < inks_.size(); ++i)
        light_of_bytes(palette.subspan(3 * i, 3), inks_[i]);
}

} // namespace oxel::tools
