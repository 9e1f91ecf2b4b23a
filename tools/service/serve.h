#ifndef OXEL_TOOLS_SERVE_H
#define OXEL_TOOLS_SERVE_H

#include "service/configuration.h"

#include <string>

namespace oxel::tools {

struct ServeOptions {
    std::string configuration; // a file
    std::string clock;         // see ServiceClock
    SettingsReader read_settings;
};

/// Serves until SIGTERM or SIGINT comes. SIGHUP has the configuration read anew; a wrong one is
/// told, and the one before stays. Throws Failure.
void serve(const ServeOptions &options);

} // namespace oxel::tools

#endif
