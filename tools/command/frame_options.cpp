#include "command/frame_options.h"

#include "base/failure.h"
#include "command/picture_options.h"

#include <iostream>

namespace oxel::tools {

namespace {

const std::vector<std::string> content_names = {"tcon", "index", "nominal", "eo"};

std::vector<std::string> format_names() {
    std::vector<std::string> names;
    for (const FrameFormatEntry &format : frame_formats())
        names.emplace_back(format.name);
    return names;
}

} // namespace

std::string frame_explanation() {
    std::string text = R"(
Row after row in the panel's driving layout a frame holds the timing controller's codes (--output
tcon), palette indices (index), or the colours R, G, B, pure ones (nominal, six-colour panels) or
measured ones (eo). --frame says how they are written:
)";
    for (const FrameFormatEntry &format : frame_formats())
        text += "  " + std::string(format.name) +
                std::string(9 - std::string(format.name).size(), ' ') + format.explanation + "\n";
    return text + R"(
Colours always take three bytes. png, bmp and c are also what a name ending in .png, .bmp and .h
means, and .gz behind any name, or --gzip, a compressed file. png, bmp and c tell their size and use
as many bits as the panel's largest code needs; the other files have no header. Rows begin with a
byte of their own; what is left of their last byte is 0.

planes1 serves controllers with a memory for each plane. One that wants a plane a colour gets it by
its codes: with black 0, white 1 and red 2 the first plane is white's, the second red's.

--layout 1 to 5 are the driving layouts of the panel descriptions, 0 is none.
)";
}

void add_frame_options(CLI::App &command, FrameSettings &settings) {
    add_choice(command, "--output", settings.content, content_names, "What the frame holds");
    add_names(
        command, "--frame",
        [&settings](std::size_t place) { settings.format = static_cast<FrameFormat>(place); },
        format_names(), "How it is written")
        ->default_str("bytes");
    command.add_flag("--gzip", settings.gzip, "Compress the frame, as a name in .gz does, too");
    add_layout_option(command, settings.layout);
}

void add_layout_option(CLI::App &command, std::optional<int> &layout) {
    command.add_option("--layout", layout, "Driving layout instead of the panel's")
        ->option_text("0-5")
        ->check(CLI::Range(0, 5));
}

void note_missing_layout(const Panel &panel, std::optional<int> layout) {
    if (panel.colour_names.empty() && !layout)
        std::cerr << "oxel: " << printable(panel.source)
                  << ": a package tells no driving layout, so none was applied (see --layout)\n";
}

FrameSettings settle_frame_options(FrameSettings settings, const std::string &name) {
    const FrameName named = parse_frame_name(name);
    const std::string plain = named.gzip ? name.substr(0, name.size() - 3) : name;
    if (!holds_codes(settings.content)) {
        if (named.format || (settings.format && !entry_of(*settings.format).holds_colours))
            throw CLI::ValidationError(
                "--frame", std::string(entry_of(named.format.value_or(*settings.format)).name) +
                               " holds codes, not the colours of --output");
    } else if (is_picture_name(plain) && !named.format) {
        throw CLI::ValidationError("-o", name + " would be a frame; of pictures these can be .png "
                                                "and .bmp");
    } else if (named.format && settings.format && *named.format != *settings.format) {
        throw CLI::ValidationError("--frame", std::string(entry_of(*settings.format).name) +
                                                  " is not what " + name + " would hold");
    }
    if (named.format)
        settings.format = named.format;
    settings.gzip = settings.gzip || named.gzip;
    return settings;
}

} // namespace oxel::tools
