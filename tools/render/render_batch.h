#ifndef OXEL_TOOLS_RENDER_BATCH_H
#define OXEL_TOOLS_RENDER_BATCH_H

#include "render/render_report.h"

#include <string>
#include <vector>

namespace oxel::tools {

/// Many photographs, whose outputs go to folders.
struct BatchOptions {
    std::vector<std::string> photos; // names of files and folders
    std::string frames;              // folders; no name for outputs that nobody asked for
    std::string previews;
    std::string nominals;
    int threads;
    bool json;
    bool quiet;
    bool resume; // skip what is up to date
};

/// Renders with the adopted panel. Reports on the standard output, names what failed on the
/// standard error, and throws if anything did.
void render_batch(const BatchOptions &options, const RenderSettings &settings, const Panel &panel);

} // namespace oxel::tools

#endif
