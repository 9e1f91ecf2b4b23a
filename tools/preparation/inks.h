#ifndef OXEL_TOOLS_INKS_H
#define OXEL_TOOLS_INKS_H

#include "base/image_size.h"
#include "preparation/ink_colours.h"

namespace oxel::tools {

/// What each pixel becomes: the palette index of an ink, or one of those below. Empty if all of
/// them are diffused.
using InkPlane = std::vector<std::int16_t>;

constexpr std::int16_t diffused = -1;
constexpr std::int16_t beside_ink = -2; // diffused as if no ink were near

constexpr std::size_t least_ink_area = 16; // pixels; specks of photographs are smaller

/// Finds the flat areas of ink in a picture of 3 channels of light a pixel: at least 16 connected
/// pixels that are exactly an ink, and do not melt into what is around them as the lights and
/// shadows of photographs do. To them belong
///
/// - smaller spots of ink at most 3 pixels away;
/// - the smoothed pixels between two of them, at most 3 from each, that are mixed of the two: they
///   become the nearer one;
/// - thin strokes on one of them, mixed of it and an ink: a pixel becomes that ink if it has at
/// least
///   half as much of it as the one beside it that has most. Of strokes that are much lighter, as
///   many pixels become ink as keep their light.
///
/// Other pixels that are less than 5 away from ink are beside_ink.
InkPlane find_inks(std::span<const std::uint16_t> light, ImageSize size, const InkColours &colours);

/// The same of a picture of 3 bytes a pixel, in less time than by way of their light.
InkPlane find_inks(std::span<const std::uint8_t> bytes, ImageSize size, const InkColours &colours);

} // namespace oxel::tools

#endif
