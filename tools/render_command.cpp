#include "render_command.h"

#include "failure.h"
#include "files.h"
#include "library.h"
#include "package_builder/package_file.h"
#include "panel.h"
#include "picture.h"

#include <algorithm>
#include <charconv>
#include <iostream>

namespace oxel::tools {

namespace {

// Each name stands at the place of its value in Fit and in enum Oxel_dithering_mode.
const std::vector<std::string> fit_names = {"cover", "contain", "stretch"};
const std::vector<std::string> dither_names = {
    "floyd", "floyd-serpentine", "jjn", "jjn-serpentine", "stucki", "stucki-serpentine"};

int value_of(const std::string &name, const std::vector<std::string> &names) {
    return static_cast<int>(std::find(names.begin(), names.end(), name) - names.begin());
}

constexpr const char *explanation = R"(
PHOTO is any picture that libvips reads: JPEG, PNG, TIFF, WebP, HEIF, SVG, ... Its colour profile
and its orientation are applied, transparent parts become white.

PANEL is the name of a built-in panel (see oxel panels), a LUT package, or a panel description in
JSON (see oxel package build). The picture gets the panel's size; with a package, which has none,
it keeps its own.

FRAME receives the timing controller's codes in the panel's driving layout, row after row without
a header: one byte a pixel, or the same byte three times. The PNGs show the picture before that
layout, in the panel's measured colours and in pure black, white, yellow, red, green and blue.

The files appear when all of them are whole; after a failure there are none.

The default diffusion is floyd-serpentine: the others round small errors away, which turns the
darkest tones black and the lightest white.

Examples:
  oxel render photo.jpg --panel six-colour -o frame.bin --preview preview.png
  oxel render photo.jpg --panel panel.json --fit contain --dither floyd -o frame.bin
  oxel render photo.jpg --panel panel.lut --size 800x480 --frame rgb -o frame.rgb)";

struct RenderOptions {
    std::string photo;
    std::string panel;
    std::string frame;
    std::string preview;
    std::string nominal;
    std::optional<ImageSize> size;
    std::string fit = "cover";
    std::string dither = "floyd-serpentine";
    std::string frame_format = "bytes";
};

ImageSize parse_size(const std::string &text) {
    ImageSize size{};
    const char *const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    if (width.ptr != end && *width.ptr == 'x')
        if (std::from_chars(width.ptr + 1, end, size.height).ptr == end && size.supported())
            return size;
    throw CLI::ValidationError("--size", "must be WIDTHxHEIGHT, at most 715827882 pixels");
}

ImageSize choose_size(const RenderOptions &options, const Panel &panel) {
    if (options.size)
        return *options.size;
    if (panel.size)
        return *panel.size;
    const ImageSize size = picture_size(options.photo);
    if (!size.supported())
        throw Failure(options.photo, "too large to be rendered at its own size: " + size.text());
    return size;
}

/// One of three equal bytes.
Bytes one_byte_a_pixel(const Bytes &image) {
    Bytes bytes(image.size() / 3);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = image[3 * i];
    return bytes;
}

void write_outputs(const RenderOptions &options, const Panel &panel, Rendering rendering,
                   ImageSize size) {
    OutputFiles outputs;
    std::string report;
    const auto write = [&](const std::string &path, const Bytes &bytes, ImageSize image) {
        outputs.write(path, bytes);
        report += path + ": " + image.text() + ", " + std::to_string(bytes.size()) + " bytes\n";
    };
    ImageSize frame_size = size;
    apply_layout(panel.source, panel.layout, rendering.tcon, frame_size);
    const bool bytes = options.frame_format == "bytes";
    write(options.frame, bytes ? one_byte_a_pixel(rendering.tcon) : rendering.tcon, frame_size);
    if (!options.preview.empty())
        write(options.preview, encode_png(options.preview, rendering.measured, size), size);
    if (!options.nominal.empty())
        write(options.nominal, encode_png(options.nominal, rendering.nominal, size), size);
    outputs.publish();
    std::cout << report;
}

void run(const RenderOptions &options) {
    check_outputs({options.frame, options.preview, options.nominal},
                  {options.photo, options.panel});
    const Panel panel = open_panel(options.panel);
    adopt_package(panel.source, panel.package);
    if (!options.nominal.empty() && read_package_fields(panel.package)->colours != 6)
        throw Failure(panel.source, "--nominal needs a panel of six colours");
    const ImageSize size = choose_size(options, panel);
    const Bytes picture =
        load_picture(options.photo, size, static_cast<Fit>(value_of(options.fit, fit_names)));
    write_outputs(options, panel,
                  render(panel.source, picture, size, value_of(options.dither, dither_names)),
                  size);
}

} // namespace

void add_render_command(CLI::App &app) {
    const auto options = std::make_shared<RenderOptions>();
    CLI::App *command = app.add_subcommand("render", "Render a picture for a panel");
    command->footer(explanation);
    command->add_option("PHOTO", options->photo, "The picture")->required();
    command->add_option("--panel", options->panel, "Built-in panel, package or description")
        ->option_text("PANEL REQUIRED")
        ->required();
    command->add_option("-o,--output", options->frame, "Where the frame goes")
        ->option_text("FRAME REQUIRED")
        ->required();
    command->add_option("--preview", options->preview, "Also write it in measured colours")
        ->option_text("PNG");
    command
        ->add_option("--nominal", options->nominal,
                     "Also write it in pure colours (six-colour panels)")
        ->option_text("PNG");
    command
        ->add_option_function<std::string>(
            "--size", [options](const std::string &text) { options->size = parse_size(text); },
            "Size of the rendering instead of the panel's")
        ->option_text("WxH");
    command
        ->add_option("--fit", options->fit,
                     "cover: fill the size, cut off the rest; contain: the whole picture on white; "
                     "stretch: ignore the aspect")
        ->check(CLI::IsMember(fit_names))
        ->capture_default_str();
    command->add_option("--dither", options->dither, "Error diffusion")
        ->check(CLI::IsMember(dither_names))
        ->capture_default_str();
    command->add_option("--frame", options->frame_format, "Bytes of a frame's pixel: one or three")
        ->check(CLI::IsMember({"bytes", "rgb"}))
        ->capture_default_str();
    command->callback([options] { run(*options); });
}

} // namespace oxel::tools
