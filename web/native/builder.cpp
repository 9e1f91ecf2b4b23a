// Panel descriptions and the package builder behind a C interface.
#include "package_builder/package_builder.h"
#include "panels/panel_description.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

using namespace oxel::tools;

namespace {

PanelDescription description;
std::vector<std::uint8_t> result;

} // namespace

extern "C" {

[[clang::import_module("oxel"), clang::import_name("progress")]] void oxel_progress(double share);

const std::uint8_t *oxel_result() {
    return result.data();
}

std::size_t oxel_result_size() {
    return result.size();
}

/// Reads a description in JSON, which the other functions are about.
void oxel_describe(const char *json, std::size_t size) {
    description = parse_panel_description("description", {json, size});
    result.clear(); // 4 bytes a colour: R, G, B and its code
    for (const PanelColour &colour : description.colours) {
        result.insert(result.end(), colour.rgb.begin(), colour.rgb.end());
        result.push_back(colour.tcon);
    }
}

/// Width, height (0 if there is no size) and layout.
std::int32_t oxel_described(std::int32_t field) {
    const ImageSize size = description.size.value_or(ImageSize{0, 0});
    return field == 0 ? size.width : field == 1 ? size.height : description.layout;
}

/// The panel's name, then its colours'; null behind the last.
const char *oxel_name(std::size_t place) {
    if (place == 0)
        return description.name.c_str();
    return place <= description.colour_names.size() ? description.colour_names[place - 1].c_str()
                                                    : nullptr;
}

/// The package of the description.
void oxel_build(std::int32_t intent, std::int32_t tuning, std::int32_t rough) {
    result = build_package(
        description.colours,
        {static_cast<Intent>(intent), static_cast<Tuning>(tuning), rough != 0, oxel_progress});
}
}
