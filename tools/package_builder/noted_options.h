#ifndef OXEL_TOOLS_NOTED_OPTIONS_H
#define OXEL_TOOLS_NOTED_OPTIONS_H

#include "package_builder/package_builder.h"

#include <cstdint>
#include <optional>
#include <span>

namespace oxel::tools {

/// What a package was built for.
struct NotedOptions {
    Intent intent;
    Tuning tuning;
};

/// What this builder has noted in a package's producer's bytes: "OX", 1, the intent, the tuning, 0.
/// Nothing for packages of other or earlier builders.
std::optional<NotedOptions> noted_options(std::span<const std::uint8_t> package);

} // namespace oxel::tools

#endif
