#include "command/commands.h"

#include "base/failure.h"
#include "command/picture_options.h"
#include "pictures/vips_session.h"
#include "render/prepared_render.h"

#include <iostream>

namespace oxel::tools {

using vips::VImage;

namespace {

const std::string compare_explanation = std::string(picture_explanation) + R"(
SHEET shows the picture as it goes into the renderer and its renderings with all diffusions in the
panel's measured colours, each under its name and pixel by pixel: look at it without scaling.

Examples:
  oxel compare photo.jpg --panel six-colour --size 400x300 -o sheet.png
  oxel compare photo.jpg --panel panel.json --saturation 20 -o sheet.png)";

struct CompareOptions {
    std::string photo;
    std::string sheet;
    PictureSettings picture;
};

VImage white(int width, int height) {
    return VImage::black(width, height).invert().colourspace(VIPS_INTERPRETATION_sRGB);
}

/// A picture under its name.
VImage labelled(const std::string &label, const Bytes &rgb, ImageSize size) {
    constexpr int strip = 28;
    const VImage text = VImage::text(
        label.c_str(), VImage::option()->set("font", "DejaVu Sans 11")->set("dpi", 96));
    const VImage black_on_white = text.invert().colourspace(VIPS_INTERPRETATION_sRGB);
    const int left = (size.width - text.width()) / 2;
    return white(size.width, strip)
        .insert(black_on_white, left, (strip - text.height()) / 2)
        .join(image_of(rgb, size), VIPS_DIRECTION_VERTICAL);
}

void run(const CompareOptions &options) {
    check_outputs({options.sheet}, {options.photo, options.picture.panel});
    Panel panel = open_panel(options.picture.panel, tuning_for(0), options.picture.intent);
    adopt_package(panel.source, panel.package);
    ImageSize size{};
    const Light picture = open_picture(options.photo, options.picture, panel, size);
    const Page prepared =
        prepare_page(picture, size, panel, !options.picture.bare, options.picture.inks);
    std::vector<Rendering> renderings;
    for (std::size_t mode = 0; mode < dither_names.size(); ++mode) {
        if (mode > 0 && mode % 2 == 0) { // the next kernel
            tune(panel, tuning_for(static_cast<int>(mode)));
            adopt_package(panel.source, panel.package);
        }
        renderings.push_back(render(prepared, panel, static_cast<int>(mode), {.measured = true}));
    }

    const Bytes original = bytes_of(picture); // which libvips reads where it is
    const Bytes sheet = with_vips(options.sheet, [&] {
        const auto tile = [&](std::size_t mode) {
            return labelled(dither_names[mode], renderings[mode].measured, size);
        };
        std::vector<VImage> tiles;
        for (const std::size_t order : {0U, 1U}) { // plain above serpentine
            tiles.push_back(order == 0 ? labelled("original", original, size)
                                       : white(size.width, 1));
            for (std::size_t mode = order; mode < dither_names.size(); mode += 2)
                tiles.push_back(tile(mode));
        }
        return to_png(
            VImage::arrayjoin(tiles, VImage::option()
                                         ->set("across", static_cast<int>(tiles.size() / 2))
                                         ->set("shim", 8)
                                         ->set("background", 255)));
    });
    OutputFiles outputs;
    outputs.write(options.sheet, sheet);
    outputs.publish();
    std::cout << printable(options.sheet) << ": " << dither_names.size() << " renderings of "
              << size.text() << '\n';
}

} // namespace

void add_compare_command(CLI::App &app) {
    const auto options = std::make_shared<CompareOptions>();
    CLI::App *command =
        app.add_subcommand("compare", "Show all diffusions side by side, to choose one");
    command->footer(compare_explanation);
    command->add_option("PHOTO", options->photo, "The picture")->required();
    command->add_option("-o", options->sheet, "Where the sheet goes")
        ->option_text("SHEET.png")
        ->required()
        ->check(check_png_name);
    add_picture_options(*command, options->picture);
    command->callback([options] { run(*options); });
}

} // namespace oxel::tools
