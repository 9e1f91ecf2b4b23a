#include "render/prepared_render.h"

#include "base/failure.h"
#include "package_builder/package_file.h"
#include "panels/picture_needs.h"
#include "panels/table_lookup.h"
#include "preparation/light.h"

namespace oxel::tools {

PreparedPicture prepare_guarded(const Light &picture, ImageSize size, const Panel &panel,
                                bool prepared) {
    if (!prepared)
        return {bytes_of(picture), size, 0};
    return prepare(picture, size, grid_of(panel.package), exact_colours_of(panel.package), 0);
}

Page prepare_page(const Light &picture, ImageSize size, const Panel &panel, bool prepared,
                  Inks inks) {
    if (!prepared)
        return {{bytes_of(picture), size, 0}, std::nullopt, {}};
    return prepare_page(picture, size, grid_of(panel.package), exact_colours_of(panel.package),
                        find_inks(picture, size, ink_colours_of(panel.package, inks)),
                        preroll_rows(size));
}

namespace {

Rendering render(const PreparedPicture &picture, const Panel &panel, int dithering_mode,
                 const Forms &wanted) {
    Rendering rendering = render(panel.source, picture.bytes, picture.size, dithering_mode, wanted);
    const auto cut = 3 * static_cast<std::ptrdiff_t>(picture.size.width) * picture.preroll;
    for (Bytes *image : {&rendering.tcon, &rendering.nominal, &rendering.measured})
        if (!image->empty())
            image->erase(image->begin(), image->begin() + cut);
    return rendering;
}

/// Renders pixels that have their ink already.
void put_inks(const InkPlane &inks, const Panel &panel, const Rendering &apart,
              Rendering &rendering) {
    const Rendering colours = renderings_of_colours(read_package_fields(panel.package)->colours);
    for (Bytes Rendering::*form : {&Rendering::tcon, &Rendering::nominal, &Rendering::measured})
        if (!(rendering.*form).empty())
            put_together(inks, colours.*form, apart.*form, rendering.*form);
}

} // namespace

Rendering render(const Page &page, const Panel &panel, int dithering_mode, const Forms &wanted) {
    Rendering rendering = render(page.picture, panel, dithering_mode, wanted);
    if (!page.inks.empty())
        put_inks(page.inks, panel,
                 page.apart ? render(*page.apart, panel, dithering_mode, wanted) : Rendering(),
                 rendering);
    return rendering;
}

Rendering render_undiffused(const Bytes &rgb, const Panel &panel) {
    Bytes indices(rgb.size() / 3);
    if (!look_up(panel.package, rgb, indices))
        throw Failure(panel.source, "unusable LUT package: a table is missing or incomplete");
    Rendering rendering{Bytes(rgb.size()), Bytes(rgb.size()), Bytes(rgb.size())};
    put_inks(InkPlane(indices.begin(), indices.end()), panel, {}, rendering);
    return rendering;
}

} // namespace oxel::tools
