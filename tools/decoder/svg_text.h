#ifndef OXEL_TOOLS_SVG_TEXT_H
#define OXEL_TOOLS_SVG_TEXT_H

#include <string>

namespace oxel::tools {

/// The same drawing with text that is not smoothed, unless its root or a style of its own says how
/// text is drawn. Compressed drawings, and what has no root of 8-bit characters, stay as they are.
std::string with_sharp_text(std::string svg);

} // namespace oxel::tools

#endif
