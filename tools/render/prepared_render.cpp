#include "render/prepared_render.h"

#include "base/failure.h"
#include "panels/table_lookup.h"
#include "preparation/light.h"

#include <algorithm>

namespace oxel::tools {

PreparedPicture prepare(const Light &picture, ImageSize size, const Panel &panel, bool prepared,
                        bool guarded) {
    if (!prepared)
        return {bytes_of(picture), size, 0};
    return prepare(picture, size, grid_of(panel.package), exact_colours_of(panel.package),
                   guarded ? 0 : preroll_rows(size));
}

Page prepare_page(const Light &picture, ImageSize size, const Panel &panel, bool prepared,
                  Inks inks) {
    if (!prepared)
        return {size, {}, {{0, 0, prepare(picture, size, panel, false, false)}}};
    return prepare_page(picture, size, grid_of(panel.package), exact_colours_of(panel.package),
                        find_inks(picture, size, ink_colours_of(panel.package, inks)));
}

namespace {

Rendering render(const PreparedPicture &picture, const Panel &panel, int dithering_mode) {
    Rendering rendering = render(panel.source, picture.bytes, picture.size, dithering_mode);
    const auto cut = 3 * static_cast<std::ptrdiff_t>(picture.size.width) * picture.preroll;
    for (Bytes *image : {&rendering.tcon, &rendering.nominal, &rendering.measured})
        image->erase(image->begin(), image->begin() + cut);
    return rendering;
}

/// Copies a region's pixels into one of the page's renderings.
void place(const Bytes &from, int width, const PageRegion &region, Bytes &page, int page_width) {
    const auto row = 3 * static_cast<std::size_t>(width);
    const auto page_row = 3 * static_cast<std::size_t>(page_width);
    std::size_t to = static_cast<std::size_t>(region.y) * page_row +
                     3 * static_cast<std::size_t>(region.x);
    for (std::size_t i = 0; i < from.size(); i += row, to += page_row)
        std::copy_n(&from[i], row, &page[to]);
}

} // namespace

Rendering render(const Page &page, const Panel &panel, int dithering_mode) {
    if (page.inks.empty())
        return render(page.regions.front().picture, panel, dithering_mode);
    const std::size_t bytes = 3 * page.size.pixels();
    Rendering rendering{Bytes(bytes), Bytes(bytes), Bytes(bytes)};
    for (const PageRegion &region : page.regions) {
        const Rendering part = render(region.picture, panel, dithering_mode);
        const int width = region.picture.size.width;
        place(part.tcon, width, region, rendering.tcon, page.size.width);
        place(part.nominal, width, region, rendering.nominal, page.size.width);
        place(part.measured, width, region, rendering.measured, page.size.width);
    }
    for (std::size_t i = 0; i < page.inks.size(); ++i)
        if (page.inks[i] >= 0)
            paint(rendering, i, static_cast<std::size_t>(page.inks[i]));
    return rendering;
}

Rendering render_undiffused(const Bytes &rgb, const Panel &panel) {
    Bytes indices(rgb.size() / 3);
    if (!look_up(panel.package, rgb, indices))
        throw Failure(panel.source, "unusable LUT package: a table is missing or incomplete");
    Rendering rendering{Bytes(rgb.size()), Bytes(rgb.size()), Bytes(rgb.size())};
    for (std::size_t i = 0; i < indices.size(); ++i)
        paint(rendering, i, indices[i]);
    return rendering;
}

} // namespace oxel::tools
