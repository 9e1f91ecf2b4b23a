#include "command/render_options.h"

#include "command/frame_options.h"
#include "command/picture_options.h"

namespace oxel::tools {

void add_render_options(CLI::App &command, RenderSettings &settings) {
    add_picture_options(command, settings.picture);
    std::vector<std::string> dithers = dither_names;
    dithers.emplace_back("none"); // undiffused
    add_choice(command, "--dither", settings.dithering_mode, dithers, "Error diffusion");
    command.add_option("--guard", settings.guard_threshold, "Reject renderings from this measure")
        ->option_text("THRESHOLD");
    add_frame_options(command, settings.frame);
}

void check_render_options(const RenderSettings &settings) {
    if (settings.guard_threshold && settings.dithering_mode == undiffused)
        throw CLI::ValidationError("--guard", "needs a diffusion");
}

} // namespace oxel::tools
