#include "render/picture_settings.h"

#include "base/failure.h"
#include "base/rereadable.h"
#include "panels/picture_needs.h"
#include "preparation/light.h"

namespace oxel::tools {

namespace {

Light open_file(const std::string &photo, const PictureSettings &settings, const Panel &panel,
                ImageSize &size) {
    if (settings.size)
        size = *settings.size;
    else
        size = panel.size ? *panel.size : picture_size(photo, settings.framing, settings.limits);
    if (!size.supported())
        throw Failure(photo, "too large to be rendered at its own size: " + size.text());
    Framing framing = settings.framing;
    framing.smooth_text = settings.bare || settings.inks == Inks::off;
    Light picture = load_picture(photo, size, framing, settings.limits);
    develop(picture, size, settings.development, exact_colours_of(panel.package));
    if (settings.adjustment != Adjustment{}) {
        Bytes bytes = bytes_of(picture);
        adjust(bytes, size, settings.adjustment);
        light_of_bytes(bytes, picture);
    }
    return picture;
}

} // namespace

Tuning tuning_of(const PictureSettings &settings, int dithering_mode) {
    return settings.bare ? Tuning::all : tuning_for(dithering_mode);
}

Light open_picture(const std::string &photo, const PictureSettings &settings, const Panel &panel,
                   ImageSize &size) {
    const Rereadable file(photo);
    try {
        return open_file(file.path(), settings, panel, size);
    } catch (const Failure &failure) {
        if (failure.file() != file.path())
            throw;
        throw Failure(photo == "-" ? "standard input" : photo, failure.reason());
    }
}

} // namespace oxel::tools
