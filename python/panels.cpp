// The panel builder behind a C interface, for Python's ctypes.

#include "panels/panel.h"

#include <exception>
#include <memory>

using namespace oxel::tools;

extern "C" {

/// A panel, or the reason why there is none.
struct OxelPanel {
    const char *error; // null if there is a panel
    const char *name;
    const std::uint8_t *package;
    std::size_t package_size;
    std::int32_t width; // 0 x 0 if the panel has no size
    std::int32_t height;
    std::int32_t layout;
    bool described; // so that each diffusion has its own package
};

// A description's package is the one for a dithering mode, or the one for all if that is below 0.
OxelPanel *oxel_panel_from_bytes(const char *source, const std::uint8_t *bytes, std::size_t size,
                                 std::int32_t dithering_mode);
OxelPanel *oxel_panel_built_in(const char *name, std::int32_t dithering_mode);
void oxel_panel_free(OxelPanel *panel);

/// The name of a built-in panel; null behind the last one's.
const char *oxel_panel_built_in_name(std::size_t index);
}

namespace {

/// What an OxelPanel points at.
struct OwnedPanel : OxelPanel {
    Panel panel;
    std::string message;
};

Tuning tuning_or_all(std::int32_t dithering_mode) {
    return dithering_mode < 0 ? Tuning::all : tuning_for(dithering_mode);
}

template <class Open>
OxelPanel *open(Open open_it) {
    auto owned = std::make_unique<OwnedPanel>();
    try {
        owned->panel = open_it();
        const ImageSize size = owned->panel.size.value_or(ImageSize{0, 0});
        static_cast<OxelPanel &>(*owned) = {nullptr,
                                            owned->panel.name.c_str(),
                                            owned->panel.package.data(),
                                            owned->panel.package.size(),
                                            size.width,
                                            size.height,
                                            owned->panel.layout,
                                            !owned->panel.colours.empty()};
    } catch (const std::exception &error) {
        owned->message = error.what();
        owned->error = owned->message.c_str();
    }
    return owned.release();
}

} // namespace

OxelPanel *oxel_panel_from_bytes(const char *source, const std::uint8_t *bytes, std::size_t size,
                                 std::int32_t dithering_mode) {
    return open([&] {
        return panel_from_bytes(source, {bytes, bytes + size}, tuning_or_all(dithering_mode));
    });
}

OxelPanel *oxel_panel_built_in(const char *name, std::int32_t dithering_mode) {
    return open([&] {
        auto panel = built_in_panel(name, tuning_or_all(dithering_mode));
        return panel ? std::move(*panel)
                     : throw std::invalid_argument(std::string(name) + ": no built-in panel");
    });
}

void oxel_panel_free(OxelPanel *panel) {
    delete static_cast<OwnedPanel *>(panel);
}

const char *oxel_panel_built_in_name(std::size_t index) {
    static const std::vector<PanelDescription> panels = built_in_panel_descriptions();
    return index < panels.size() ? panels[index].name.c_str() : nullptr;
}
