#include "panels/panel.h"

#include "base/failure.h"
#include "base/files.h"
#include "base/suggestion.h"
#include "built_in_panels.h"
#include "panels/package_cache.h"
#include "panels/packed_package.h"

#include <algorithm>
#include <filesystem>

namespace oxel::tools {

namespace {

PanelDescription parse(const std::string &path, const Bytes &bytes) {
    return parse_panel_description(path,
                                   {reinterpret_cast<const char *>(bytes.data()), bytes.size()});
}

Panel open_description(const std::string &source, const PanelDescription &description,
                       Tuning tuning) {
    Panel panel{source,
                description.name,
                {},
                description.size,
                description.layout,
                description.colour_names,
                description.colours,
                Intent::perceptual};
    tune(panel, tuning);
    return panel;
}

std::vector<std::string> built_in_names() {
    std::vector<std::string> names;
    for (const PanelDescription &description : built_in_panel_descriptions())
        names.push_back(description.name);
    return names;
}

} // namespace

bool is_description(const Bytes &bytes) {
    // JSON has no NUL; a package's header has some whenever it is true to its length.
    return std::find(bytes.begin(), bytes.end(), 0) == bytes.end();
}

/// A description with a built-in panel's colours takes that panel's package.
void tune(Panel &panel, Tuning tuning) {
    if (panel.colours.empty())
        return;
    const std::vector<PanelDescription> descriptions = built_in_panel_descriptions();
    for (std::size_t i = 0; i < descriptions.size(); ++i)
        if (const auto &[packed, size] = built_in_packages[i][std::size_t(tuning)];
            size > 0 && descriptions[i].colours == panel.colours &&
            panel.intent == Intent::perceptual) {
            panel.package = unpack_package(packed, size);
            return;
        }
    panel.package = cached_package(panel.colours, {.intent = panel.intent, .tuning = tuning});
}

std::optional<Panel> built_in_panel(const std::string &name, Tuning tuning) {
    for (const PanelDescription &description : built_in_panel_descriptions())
        if (description.name == name)
            return open_description(name, description, tuning);
    return std::nullopt;
}

Panel panel_from_bytes(const std::string &source, Bytes bytes, Tuning tuning) {
    if (is_description(bytes))
        return open_description(source, parse(source, bytes), tuning);
    const std::string name = source.substr(source.rfind('/') + 1);
    return {source, name, std::move(bytes), std::nullopt, 0, {}, {}, Intent::perceptual};
}

Panel open_panel(const std::string &name, Tuning tuning, std::optional<Intent> intent) {
    std::optional<Panel> panel = built_in_panel(name, tuning);
    if (!panel) {
        if (!std::filesystem::exists(name))
            throw Failure(name, "neither a built-in panel (see oxel panels) nor a file" +
                                    suggestion(name, built_in_names()));
        panel = panel_from_bytes(name, read_file(name), tuning);
    }
    if (intent && panel->colours.empty())
        throw Failure(name, "is a package, whose intent is settled: --intent needs a description");
    if (intent && *intent != panel->intent) {
        panel->intent = *intent;
        tune(*panel, tuning);
    }
    return std::move(*panel);
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
