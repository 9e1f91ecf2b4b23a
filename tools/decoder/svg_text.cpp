#include "decoder/svg_text.h"

#include <string_view>

namespace oxel::tools {

namespace {

/// Where the root's start tag begins: the first tag behind comments, instructions and the document
/// type.
std::size_t root_of(std::string_view svg) {
    std::size_t place = svg.find('<');
    const auto skip = [&](std::string_view end) { place = svg.find('<', svg.find(end, place)); };
    while (place != svg.npos) {
        const std::string_view rest = svg.substr(place);
        if (rest.starts_with("<!--"))
            skip("-->");
        else if (rest.starts_with("<?"))
            skip("?>");
        else if (!rest.starts_with("<!"))
            return place;
        else
            skip(rest.find('[') < rest.find('>') ? "]" : ">");
    }
    return place;
}

} // namespace

std::string with_sharp_text(std::string svg) {
    const std::size_t root = root_of(svg);
    const std::size_t end = svg.find('>', root);
    const std::size_t name_end = svg.find_first_of(" \t\r\n/>", root);
    if (end == svg.npos || !std::string_view(svg).substr(0, name_end).ends_with("svg") ||
        svg.substr(root, end - root).find("text-rendering") != svg.npos)
        return svg;
    return svg.insert(name_end, " text-rendering=\"optimizeSpeed\"");
}

} // namespace oxel::tools
