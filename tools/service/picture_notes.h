#ifndef OXEL_TOOLS_PICTURE_NOTES_H
#define OXEL_TOOLS_PICTURE_NOTES_H

#include "service/album.h"

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace oxel::tools {

/// Left, top, width and height, in shares of the upright picture's sides.
using Crop = std::array<double, 4>;

/// The crops that devices have of a picture, by their ids. They are kept in NAME.oxel.json beside
/// it.
using Crops = std::map<std::string, Crop>;

/// A file that is damaged notes nothing.
Crops read_crops(const Descriptor &folder, const std::string &name);

/// Notes a device's crop of an album's picture, or that it has none. Throws Failure.
void write_crop(const Album &album, const std::string &name, const std::string &device,
                const std::optional<Crop> &crop);

/// {"crop":[x,y,w,h]}; nothing if it is not that, or no part of a picture.
std::optional<Crop> parse_crop(std::string_view json);

std::string json_of_crops(const Crops &crops);

} // namespace oxel::tools

#endif
