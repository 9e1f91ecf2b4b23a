#include "render/panel_codes.h"

#include "base/failure.h"
#include "package_builder/package_file.h"

#include <algorithm>

namespace oxel::tools {

Codes codes_of(const Panel &panel, FrameContent content) {
    Codes codes;
    if (!holds_codes(content))
        return codes;
    const PackageFields fields = read_package_fields(panel.package).value();
    for (std::size_t i = 0; i < std::min<std::size_t>(fields.colours, 256); ++i) {
        const auto tcon = package_table(panel.package, std::uint64_t{fields.tcon} + i, 1);
        const auto rgb = package_table(panel.package, std::uint64_t{fields.palette} + 3 * i, 3);
        if (tcon.empty() || rgb.empty())
            throw Failure(panel.source, "its palette or its codes are incomplete");
        const auto code = content == FrameContent::index ? static_cast<std::uint8_t>(i) : tcon[0];
        if (std::none_of(codes.begin(), codes.end(),
                         [&](const Code &known) { return known.code == code; }))
            codes.push_back({code,
                             {rgb[0], rgb[1], rgb[2]},
                             i < panel.colour_names.size() ? panel.colour_names[i] : ""});
    }
    return codes;
}

} // namespace oxel::tools
