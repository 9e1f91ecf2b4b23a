#ifndef OXEL_TOOLS_PANEL_CODES_H
#define OXEL_TOOLS_PANEL_CODES_H

#include "frames/frame_format.h"
#include "panels/panel.h"

namespace oxel::tools {

/// What the codes of a frame mean that holds `content`: none for colours. A code that several
/// colours have shows the first of them. The package must have been adopted. Throws Failure.
Codes codes_of(const Panel &panel, FrameContent content);

} // namespace oxel::tools

#endif
