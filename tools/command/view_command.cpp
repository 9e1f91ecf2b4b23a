#include "command/commands.h"

#include "base/failure.h"
#include "command/frame_options.h"
#include "command/picture_options.h"
#include "pictures/picture_files.h"
#include "render/library.h"
#include "render/panel_codes.h"

#include <algorithm>
#include <array>
#include <iostream>

namespace oxel::tools {

namespace {

const std::string view_explanation = frame_explanation() + R"(
PNG shows what a frame's file holds, codes and indices in the panel's measured colours and colours
as they are, with the driving layout undone. The options must be those that the frame was rendered
with; the size is that of the picture: that of --size, else the panel's, else what the file tells.
- is a frame on the standard input.

Examples:
  oxel view frame.bin --panel six-colour -o sent.png
  oxel view frame.bin --panel panel.lut --size 800x480 --frame packed4 -o sent.png)";

struct ViewOptions {
    std::string frame;
    std::string panel;
    std::string png;
    std::optional<ImageSize> size;
    FrameSettings layout;
};

void colour_codes(const std::string &frame, const Codes &codes, Bytes &image) {
    std::array<const Code *, 256> meanings{};
    for (const Code &code : codes)
        meanings[code.code] = &code;
    for (std::size_t i = 0; i < image.size(); i += 3) {
        const Code *const code = meanings[image[i]];
        if (!code)
            throw Failure(frame, "its code " + std::to_string(image[i]) + " at pixel " +
                                     std::to_string(i / 3) + " is none of the panel's");
        std::copy(code->colour.begin(), code->colour.end(),
                  image.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void run(const ViewOptions &options) {
    const FrameSettings settings = settle_frame_options(options.layout, options.frame);
    const FrameFormat format = file_format(settings);
    check_outputs({options.png}, {options.frame, options.panel});
    const Panel panel = open_panel(options.panel);
    adopt_package(panel.source, panel.package); // checks it
    const std::optional<ImageSize> asked = options.size ? options.size : panel.size;
    if (!asked && !entry_of(format).tells_size)
        throw Failure(panel.source, "has no size; give it with --size");
    const int layout = settings.layout.value_or(panel.layout);
    ImageSize size = asked ? layout_size(layout, *asked) : ImageSize{0, 0};

    const std::string source = options.frame == "-" ? "standard input" : options.frame;
    const Codes codes = codes_of(panel, settings.content);
    Bytes image =
        decode_frame(source, format, settings.gzip, read_input(options.frame), codes, size);
    if (holds_codes(settings.content))
        colour_codes(source, codes, image);
    undo_layout(panel.source, layout, image, size);
    OutputFiles outputs;
    outputs.write(options.png, encode_png(options.png, image, size));
    outputs.publish();
    std::cout << printable(options.png) << ": " << size.text() << '\n';
}

} // namespace

void add_view_command(CLI::App &app) {
    const auto options = std::make_shared<ViewOptions>();
    CLI::App *command = app.add_subcommand("view", "Turn a frame back into a picture");
    command->footer(view_explanation);
    command->add_option("FRAME", options->frame, "The frame's file, or -")->required();
    add_panel_option(*command, options->panel);
    command->add_option("-o", options->png, "Where the picture goes")
        ->option_text("PNG")
        ->required()
        ->check(check_png_name);
    add_size_option(*command, options->size, "Size of the picture instead of the panel's");
    add_frame_options(*command, options->layout);
    command->callback([options] { run(*options); });
}

} // namespace oxel::tools
