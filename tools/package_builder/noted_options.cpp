#include "package_builder/noted_options.h"

#include "package_builder/package_file.h"

namespace oxel::tools {

std::optional<NotedOptions> noted_options(std::span<const std::uint8_t> package) {
    const auto fields = read_package_fields(package);
    if (!fields)
        return std::nullopt;
    const ProducerBytes &bytes = fields->producer;
    if (bytes[0] != 'O' || bytes[1] != 'X' || bytes[2] != 1 ||
        bytes[3] > static_cast<std::uint8_t>(Intent::absolute) || bytes[4] >= tunings)
        return std::nullopt;
    return NotedOptions{static_cast<Intent>(bytes[3]), static_cast<Tuning>(bytes[4])};
}

} // namespace oxel::tools
