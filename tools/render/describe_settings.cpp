#include "render/describe_settings.h"

#include "package_builder/package_file.h"

#include <nlohmann/json.hpp>

namespace oxel::tools {

namespace {

template <std::size_t count>
nlohmann::ordered_json lengths(const std::optional<std::array<PictureLength, count>> &measures) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    if (measures)
        for (const PictureLength &length : *measures)
            list.push_back({length.value, length.percent});
    return list;
}

} // namespace

std::string describe(const RenderSettings &settings, const Panel &panel) {
    return describe(settings, panel, package_crc(panel.package));
}

std::string describe(const RenderSettings &settings, const Panel &panel,
                     std::uint32_t package_sum) {
    const PictureSettings &picture = settings.picture;
    const Adjustment &amounts = picture.adjustment;
    const Development &development = picture.development;
    const nlohmann::ordered_json note = {
        {"library", library_version()},
        {"package", package_sum},
        {"layout", panel.layout},
        {"size", picture.size ? picture.size->text()
                 : panel.size ? panel.size->text()
                              : ""},
        {"framing",
         {picture.framing.fit, picture.framing.rotation, picture.framing.background,
          lengths(picture.framing.crop), lengths(picture.framing.focus)}},
        {"development",
         {development.clarity, development.sharpen, development.shadows, development.highlights,
          development.white_balance, development.auto_levels, development.monochrome}},
        {"bare", picture.bare},
        {"inks", picture.inks},
        {"adjustment",
         {amounts.hue, amounts.saturation, amounts.brightness, amounts.contrast, amounts.gamma}},
        {"dither", settings.dithering_mode},
        {"guarded", settings.guard_threshold.has_value()},
        {"threshold", settings.guard_threshold.value_or(0)},
        {"frame", {settings.frame.content, file_format(settings.frame), settings.frame.gzip}},
    };
    return note.dump();
}

} // namespace oxel::tools
