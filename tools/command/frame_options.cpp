#include "command/frame_options.h"

#include "command/picture_options.h"

#include <filesystem>

namespace oxel::tools {

namespace {

const std::vector<std::string> content_names = {"tcon", "index", "nominal", "eo"};
const std::vector<std::string> format_names = {"bytes", "rgb", "packed4", "packed2"};

} // namespace

const char *const frame_explanation = R"(
A frame's file has no header; row after row in the panel's driving layout it holds the timing
controller's codes (--output tcon), palette indices (index), or the colours R, G, B, pure ones
(nominal, six-colour panels) or measured ones (eo). --frame says how a pixel is written:
  bytes    one byte
  rgb      three bytes, equal ones for codes; always so for colours
  packed4  4 bits, two pixels a byte: the left pixel in the high half
  packed2  2 bits, four pixels a byte: the leftmost pixel in the two highest bits
Packed rows begin with a byte of their own; what is left of their last byte is 0. --layout 1 to 5
are the driving layouts of the panel descriptions, 0 is none.
)";

void add_frame_options(CLI::App &command, FrameSettings &settings) {
    add_choice(command, "--output", settings.content, content_names, "What the frame holds");
    add_choice(command, "--frame", settings.format, format_names, "Bytes of a frame's pixel");
    command.add_option("--layout", settings.layout, "Driving layout instead of the panel's")
        ->option_text("0-5")
        ->check(CLI::Range(0, 5));
}

void check_frame_options(const FrameSettings &settings) {
    if (!format_fits(settings))
        throw CLI::ValidationError("--frame", "packs codes, not the colours of --output");
}

void check_frame_name(const std::string &name) {
    if (is_picture_name(name))
        throw CLI::ValidationError("-o",
                                   "a frame is no picture file, so its name must not end in " +
                                       std::filesystem::path(name).extension().string() +
                                       "; --preview and --nominal write PNGs");
}

} // namespace oxel::tools
