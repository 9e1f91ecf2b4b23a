#include "render/prepared_render.h"

#include "panels/picture_needs.h"
#include "preparation/light.h"

namespace oxel::tools {

PreparedPicture prepare(const Light &picture, ImageSize size, const Panel &panel, bool prepared,
                        bool guarded) {
    if (!prepared)
        return {bytes_of(picture), size, 0};
    return prepare(picture, size, grid_of(panel.package), exact_colours_of(panel.package),
                   guarded ? 0 : preroll_rows(size));
}

Rendering render(const PreparedPicture &picture, const Panel &panel, int dithering_mode) {
    Rendering rendering = render(panel.source, picture.bytes, picture.size, dithering_mode);
    const auto cut = 3 * static_cast<std::ptrdiff_t>(picture.size.width) * picture.preroll;
    for (Bytes *image : {&rendering.tcon, &rendering.nominal, &rendering.measured})
        image->erase(image->begin(), image->begin() + cut);
    return rendering;
}

} // namespace oxel::tools
