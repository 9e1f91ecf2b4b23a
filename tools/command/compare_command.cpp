#include "command/commands.h"

#include "base/failure.h"
#include "command/picture_options.h"
#include "pictures/drawing.h"
#include "pictures/picture_files.h"
#include "render/prepared_render.h"

#include <algorithm>
#include <iostream>

namespace oxel::tools {

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

/// Pictures of one size side by side, each under its name, on white.
class Sheet {
  public:
    Sheet(ImageSize tile, std::size_t columns, std::size_t rows)
        : tile_(tile), size_{static_cast<int>(columns) * (tile.width + gap) - gap,
                             static_cast<int>(rows) * (tile.height + strip + gap) - gap},
          rgb_(3 * size_.pixels(), 255) {}

    void add(std::size_t column, std::size_t row, const std::string &name, const Bytes &picture) {
        ImageSize label{tile_.width, strip};
        const Bytes drawn = draw_svg("a name", label_of(name), label);
        const int left = static_cast<int>(column) * (tile_.width + gap);
        const int top = static_cast<int>(row) * (tile_.height + strip + gap);
        put(drawn, label, left, top);
        put(picture, tile_, left, top + strip);
    }

    ImageSize size() const { return size_; }
    const Bytes &rgb() const { return rgb_; }

  private:
    static constexpr int gap = 8;
    static constexpr int strip = 28; // that the name stands in

    std::string label_of(const std::string &name) const {
        const std::string width = std::to_string(tile_.width);
        const std::string height = std::to_string(strip);
        return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + width + "\" height=\"" +
               height +
               "\" font-family=\"DejaVu Sans, sans-serif\" font-size=\"14.67\">"
               "<text x=\"50%\" y=\"19\" text-anchor=\"middle\">" +
               name + "</text></svg>";
    }

    void put(const Bytes &picture, ImageSize size, int left, int top) {
        const std::size_t row = 3 * static_cast<std::size_t>(size.width);
        for (int y = 0; y < size.height; ++y) {
            const auto place =
                static_cast<std::size_t>(top + y) * 3 * static_cast<std::size_t>(size_.width) +
                3 * static_cast<std::size_t>(left);
            std::copy_n(&picture[row * static_cast<std::size_t>(y)], row, &rgb_[place]);
        }
    }

    ImageSize tile_;
    ImageSize size_;
    Bytes rgb_;
};

void run(const CompareOptions &options) {
    check_outputs({options.sheet}, {options.photo, options.picture.panel});
    Panel panel =
        open_panel(options.picture.panel, tuning_of(options.picture, 0), options.picture.intent);
    adopt_package(panel.source, panel.package);
    ImageSize size{};
    const Light picture = open_picture(options.photo, options.picture, panel, size);
    const Page prepared =
        prepare_page(picture, size, panel, !options.picture.bare, options.picture.inks);
    std::vector<Rendering> renderings;
    for (std::size_t mode = 0; mode < dither_names.size(); ++mode) {
        if (mode > 0 && mode % 2 == 0) { // the next kernel
            tune(panel, tuning_of(options.picture, static_cast<int>(mode)));
            adopt_package(panel.source, panel.package);
        }
        renderings.push_back(render(prepared, panel, static_cast<int>(mode), {.measured = true}));
    }

    Sheet sheet(size, 1 + dither_names.size() / 2, 2);
    sheet.add(0, 0, "original", bytes_of(picture));
    for (std::size_t mode = 0; mode < dither_names.size(); ++mode) // plain above serpentine
        sheet.add(1 + mode / 2, mode % 2, dither_names[mode], renderings[mode].measured);
    OutputFiles outputs;
    outputs.write(options.sheet, encode_png(options.sheet, sheet.rgb(), sheet.size()));
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
