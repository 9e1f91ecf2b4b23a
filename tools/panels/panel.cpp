#include "panels/panel.h"

#include "base/failure.h"
#include "built_in_panels.h"

#include <algorithm>
#include <filesystem>

namespace oxel::tools {

namespace {

/// JSON has no NUL; a package's header has some whenever it is true to its length.
bool is_description(const Bytes &bytes) {
    return std::find(bytes.begin(), bytes.end(), 0) == bytes.end();
}

PanelDescription parse(const std::string &path, const Bytes &bytes) {
    return parse_panel_description(path,
                                   {reinterpret_cast<const char *>(bytes.data()), bytes.size()});
}

Panel build(const std::string &source, const PanelDescription &description) {
    return {source, description.name, build_package(description.colours), description.size,
            description.layout};
}

} // namespace

Grid grid_of(std::span<const std::uint8_t> package) {
    return cell_grid(package) == CellGrid::ends ? Grid::ends : Grid::middles;
}

ExactColours exact_colours_of(std::span<const std::uint8_t> package) {
    const auto fields = read_package_fields(package);
    return ExactColours(fields ? package_table(package, fields->palette, 3UL * fields->colours)
                               : std::span<const std::uint8_t>());
}

std::optional<Panel> built_in_panel(const std::string &name) {
    const std::vector<PanelDescription> descriptions = built_in_panel_descriptions();
    for (std::size_t i = 0; i < descriptions.size(); ++i) {
        const PanelDescription &description = descriptions[i];
        if (description.name != name)
            continue;
        const std::string_view package = built_in_packages[i];
        if (package.empty())
            return build(name, description);
        return Panel{name, description.name, Bytes(package.begin(), package.end()),
                     description.size, description.layout};
    }
    return std::nullopt;
}

Panel panel_from_bytes(const std::string &source, Bytes bytes) {
    if (is_description(bytes))
        return build(source, parse(source, bytes));
    return {source, source, std::move(bytes), std::nullopt, 0};
}

Panel open_panel(const std::string &name) {
    if (auto panel = built_in_panel(name))
        return std::move(*panel);
    if (!std::filesystem::exists(name))
        throw Failure(name, "neither a built-in panel (see oxel panels) nor a file");
    return panel_from_bytes(name, read_file(name));
}

PanelDescription read_panel_description(const std::string &path) {
    return parse(path, read_file(path));
}

std::vector<PanelDescription> built_in_panel_descriptions() {
    std::vector<PanelDescription> descriptions;
    for (const std::string_view json : built_in_panels)
        descriptions.push_back(parse_panel_description("built-in panel", json));
    return descriptions;
}

} // namespace oxel::tools
