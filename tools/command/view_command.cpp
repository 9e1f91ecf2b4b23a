#include "command/commands.h"

#include "base/failure.h"
#include "command/frame_options.h"
#include "package_builder/package_file.h"

#include <algorithm>
#include <array>
#include <iostream>

namespace oxel::tools {

namespace {

const std::string view_explanation = std::string(frame_explanation) + R"(
PNG shows what a frame's file holds, codes and indices in the panel's measured colours and colours
as they are, with the driving layout undone. The options must be those that the frame was rendered
with; the size is that of the picture and is the panel's unless --size gives another.

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

/// The measured colour of each code; a code that several colours have shows the first of them.
std::array<std::optional<RgbBytes>, 256> colours_of_codes(const Panel &panel,
                                                          FrameContent content) {
    const PackageFields fields = read_package_fields(panel.package).value();
    std::array<std::optional<RgbBytes>, 256> colours;
    for (std::size_t i = 0; i < std::min<std::size_t>(fields.colours, 256); ++i) {
        const auto code = package_table(panel.package, std::uint64_t{fields.tcon} + i, 1);
        const auto rgb = package_table(panel.package, std::uint64_t{fields.palette} + 3 * i, 3);
        if (code.empty() || rgb.empty())
            throw Failure(panel.source, "its palette or its codes are incomplete");
        auto &colour = colours[content == FrameContent::index ? i : code[0]];
        if (!colour)
            colour = {rgb[0], rgb[1], rgb[2]};
    }
    return colours;
}

void colour_codes(const std::string &frame, const Panel &panel, FrameContent content,
                  Bytes &image) {
    const auto colours = colours_of_codes(panel, content);
    for (std::size_t i = 0; i < image.size(); i += 3) {
        const auto &colour = colours[image[i]];
        if (!colour)
            throw Failure(frame, "its code " + std::to_string(image[i]) + " at pixel " +
                                     std::to_string(i / 3) + " is none of the panel's");
        std::copy(colour->begin(), colour->end(), image.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void run(const ViewOptions &options) {
    check_frame_options(options.layout);
    const FrameFormat format = file_format(options.layout);
    check_outputs({options.png}, {options.frame, options.panel});
    const Panel panel = open_panel(options.panel);
    adopt_package(panel.source, panel.package); // checks it
    if (!options.size && !panel.size)
        throw Failure(panel.source, "has no size; give it with --size");
    ImageSize size = options.size ? *options.size : *panel.size;
    const int layout = options.layout.layout.value_or(panel.layout);
    const ImageSize frame_size = layout_size(layout, size);

    const Bytes file = read_file(options.frame);
    const std::size_t expected = frame_bytes(format, frame_size);
    if (file.size() != expected)
        throw Failure(options.frame, "has " + std::to_string(file.size()) + " bytes; a frame of " +
                                         size.text() + " in this format has " +
                                         std::to_string(expected));
    Bytes image = decode_frame(format, frame_size, file);
    const FrameContent content = options.layout.content;
    if (content == FrameContent::tcon || content == FrameContent::index)
        colour_codes(options.frame, panel, content, image);
    size = frame_size;
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
    command->add_option("FRAME", options->frame, "The frame's file")->required();
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
