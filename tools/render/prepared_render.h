#ifndef OXEL_TOOLS_PREPARED_RENDER_H
#define OXEL_TOOLS_PREPARED_RENDER_H

#include "panels/panel.h"
#include "pictures/picture.h"
#include "preparation/page.h"
#include "render/library.h"

namespace oxel::tools {

/// A picture as this panel wants it, for renders under the guard; or without preparation its bytes
/// alone.
PreparedPicture prepare_guarded(const Light &picture, ImageSize size, const Panel &panel,
                                bool prepared);

/// A picture as this panel wants it, with what is ink already; or without preparation its bytes
/// alone.
Page prepare_page(const Light &picture, ImageSize size, const Panel &panel, bool prepared,
                  Inks inks);

/// Renders with the adopted panel. The renderings have the picture's own size.
Rendering render(const Page &page, const Panel &panel, int dithering_mode, const Forms &wanted);

/// Renders without diffusion: every pixel as the package's tables give it. Throws Failure.
Rendering render_undiffused(const Bytes &rgb, const Panel &panel);

} // namespace oxel::tools

#endif
