#ifndef OXEL_TOOLS_PREPARED_RENDER_H
#define OXEL_TOOLS_PREPARED_RENDER_H

#include "panels/panel.h"
#include "pictures/picture.h"
#include "preparation/preparation.h"
#include "render/library.h"

namespace oxel::tools {

/// A picture as this panel wants it, or without preparation its bytes alone.
PreparedPicture prepare(const Light &picture, ImageSize size, const Panel &panel, bool prepared,
                        bool guarded);

/// Renders with the adopted panel. The renderings have the picture's own size.
Rendering render(const PreparedPicture &picture, const Panel &panel, int dithering_mode);

} // namespace oxel::tools

#endif
