#ifndef OXEL_TOOLS_PREPARED_RENDER_H
#define OXEL_TOOLS_PREPARED_RENDER_H

#include "panels/panel.h"
#include "pictures/picture.h"
#include "preparation/page.h"
#include "render/library.h"

namespace oxel::tools {

/// A picture as this panel wants it, or without preparation its bytes alone.
PreparedPicture prepare(const Light &picture, ImageSize size, const Panel &panel, bool prepared,
                        bool guarded);

/// A picture as this panel wants it, with what is ink already. Without preparation nothing is.
Page prepare_page(const Light &picture, ImageSize size, const Panel &panel, bool prepared,
                  Inks inks);

/// Renders with the adopted panel. The renderings have the picture's own size.
Rendering render(const Page &page, const Panel &panel, int dithering_mode);

/// Renders without diffusion: every pixel as the package's tables give it. Throws Failure.
Rendering render_undiffused(const Bytes &rgb, const Panel &panel);

} // namespace oxel::tools

#endif
