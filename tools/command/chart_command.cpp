#include "command/commands.h"

#include "base/failure.h"
#include "built_in_scene.h"
#include "command/frame_options.h"
#include "command/picture_options.h"
#include "package_builder/package_file.h"
#include "pictures/drawing.h"
#include "pictures/picture_files.h"
#include "render/prepared_render.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iostream>

namespace oxel::tools {

namespace {

constexpr const char *chart_explanation = R"(
All charts go into FOLDER, which is made if it is missing, at the panel's size or at --size. Frames
hold the timing controller's codes in the panel's driving layout, or that of --layout, one byte a
pixel.

  patches    colour-00.bin, colour-01.bin, ...: a frame of each palette entry alone, to be sent to
             the panel and measured; beside each a PNG in the colour that is measured already
  scene      scene.png: the built-in picture; scene.bin, scene-preview.png: its rendering
  gradients  gradients.png: a grey ramp, hues from black over the full colour to white, and a turn
             of the hue; gradients.bin, gradients-preview.png: its rendering

Examples:
  oxel chart patches --panel panel.json -o charts
  oxel chart gradients --panel six-colour -o charts --dither stucki)";

struct ChartOptions {
    std::string panel;
    std::string folder;
    std::optional<ImageSize> size;
    std::optional<int> layout;
    int dithering_mode = 1; // enum Oxel_dithering_mode
};

ImageSize chart_size(const ChartOptions &options, const Panel &panel) {
    if (!options.size && !panel.size)
        throw Failure(panel.source, "has no size: give one with --size");
    return options.size ? *options.size : *panel.size;
}

/// The charts of one run, which appear together.
class Charts {
  public:
    Charts(const ChartOptions &options, const Panel &panel)
        : folder_(options.folder), panel_(panel), layout_(options.layout),
          size_(chart_size(options, panel)) {
        make_folder(folder_);
        taken_.add_input(options.panel);
    }

    ImageSize size() const { return size_; }

    void add_picture(const std::string &name, const Bytes &rgb) {
        const std::string path = folder_ / (name + ".png");
        add(path, encode_png(path, rgb, size_));
    }

    /// Of codes, 3 equal bytes a pixel.
    void add_frame(const std::string &name, Bytes codes) {
        ImageSize size = size_;
        apply_layout(panel_.source, layout_.value_or(panel_.layout), codes, size);
        add(folder_ / (name + ".bin"),
            encode_frame(panel_.source, FrameFormat::bytes, false, {size, codes, {}, name}));
    }

    void publish() {
        outputs_.publish();
        std::cout << report_;
        note_missing_layout(panel_, layout_);
    }

  private:
    void add(const std::string &path, const Bytes &bytes) {
        taken_.add_output(path);
        outputs_.write(path, bytes);
        report_ += path + ": " + std::to_string(bytes.size()) + " bytes\n";
    }

    std::filesystem::path folder_;
    const Panel &panel_;
    std::optional<int> layout_;
    ImageSize size_;
    TakenFiles taken_;
    OutputFiles outputs_;
    std::string report_;
};

Bytes plain_picture(std::span<const std::uint8_t> rgb, ImageSize size) {
    Bytes picture(3 * size.pixels());
    for (std::size_t i = 0; i < picture.size(); ++i)
        picture[i] = rgb[i % 3];
    return picture;
}

void draw_patches(const ChartOptions &options) {
    const Panel panel = open_panel(options.panel);
    adopt_package(panel.source, panel.package);
    const PackageFields fields = *read_package_fields(panel.package);
    Charts charts(options, panel);
    const auto colours = std::min<std::size_t>(fields.colours, 256); // what indices tell apart
    for (std::size_t i = 0; i < colours; ++i) {
        const auto rgb = package_table(panel.package, std::uint64_t{fields.palette} + 3 * i, 3);
        const auto code = package_table(panel.package, std::uint64_t{fields.tcon} + i, 1);
        if (rgb.empty() || code.empty())
            throw Failure(panel.source, "unusable LUT package: a table is missing or incomplete");
        const std::string number = std::to_string(i);
        const std::string name = "colour-" + std::string(number.size() < 2, '0') + number;
        charts.add_picture(name, plain_picture(rgb, charts.size()));
        charts.add_frame(name, Bytes(3 * charts.size().pixels(), code[0]));
    }
    charts.publish();
}

Bytes draw_scene(ImageSize size) {
    return draw_svg("the built-in scene", built_in_scene, size);
}

/// A full colour of a hue from 0 to 6.
std::array<double, 3> full_colour(double hue) {
    const auto channel = [&](double peak) {
        double away = std::abs(hue - peak);
        away = std::min(away, 6 - away);
        return std::clamp(2 - away, 0.0, 1.0);
    };
    return {channel(0), channel(2), channel(4)};
}

/// The colour at a place from 0 to 1 along the band: grey, six hues, a skin tone, the hues in turn.
std::array<double, 3> band_colour(int band, double place) {
    constexpr std::array<double, 3> skin = {0.85, 0.62, 0.5};
    if (band == 0)
        return {place, place, place};
    if (band == 8)
        return full_colour(6 * place);
    const std::array<double, 3> full = band == 7 ? skin : full_colour(band - 1);
    std::array<double, 3> colour{};
    for (std::size_t i = 0; i < 3; ++i)
        colour[i] = place < 0.5 ? 2 * place * full[i] : 1 - 2 * (1 - place) * (1 - full[i]);
    return colour;
}

Bytes draw_gradients(ImageSize size) {
    constexpr int bands = 9;
    Bytes picture;
    picture.reserve(3 * size.pixels());
    for (std::int32_t y = 0; y < size.height; ++y)
        for (std::int32_t x = 0; x < size.width; ++x) {
            const int band = int(std::int64_t{y} * bands / size.height);
            for (const double channel : band_colour(band, (x + 0.5) / size.width))
                picture.push_back(static_cast<std::uint8_t>(std::lround(255 * channel)));
        }
    return picture;
}

void draw_rendered(const ChartOptions &options, const std::string &name, Bytes (*draw)(ImageSize)) {
    const Panel panel = open_panel(options.panel, tuning_for(options.dithering_mode));
    adopt_package(panel.source, panel.package);
    Charts charts(options, panel);
    const Bytes picture = draw(charts.size());
    Light light(picture.size());
    light_of_bytes(picture, light);
    Rendering rendering = render(prepare_page(light, charts.size(), panel, true, Inks::automatic),
                                 panel, options.dithering_mode, {.tcon = true, .measured = true});
    charts.add_picture(name, picture);
    charts.add_picture(name + "-preview", rendering.measured);
    charts.add_frame(name, std::move(rendering.tcon));
    charts.publish();
}

CLI::App *add_chart(CLI::App &command, const std::string &name, const std::string &description,
                    ChartOptions &options) {
    CLI::App *chart = command.add_subcommand(name, description);
    chart->footer(chart_explanation);
    add_panel_option(*chart, options.panel);
    chart->add_option("-o", options.folder, "Where the charts go")
        ->option_text("FOLDER")
        ->required();
    add_size_option(*chart, options.size, "Size of the charts instead of the panel's");
    add_layout_option(*chart, options.layout);
    return chart;
}

} // namespace

void add_chart_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("chart", "Draw what one needs to measure a panel");
    command->require_subcommand(1);
    // Each has options of its own: CLI11 fills in values from the environment even for subcommands
    // that nobody named.
    const auto patches = std::make_shared<ChartOptions>();
    add_chart(*command, "patches", "Each palette colour alone, to be measured", *patches)
        ->callback([patches] { draw_patches(*patches); });
    const auto add_rendered = [&](const std::string &name, const std::string &description,
                                  Bytes (*draw)(ImageSize)) {
        const auto options = std::make_shared<ChartOptions>();
        CLI::App *chart = add_chart(*command, name, description, *options);
        add_choice(*chart, "--dither", options->dithering_mode, dither_names, "Error diffusion");
        chart->callback([options, name, draw] { draw_rendered(*options, name, draw); });
    };
    add_rendered("scene", "The built-in picture and its rendering", draw_scene);
    add_rendered("gradients", "Ramps of grey and hues and their rendering", draw_gradients);
}

} // namespace oxel::tools
