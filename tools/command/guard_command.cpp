#include "command/commands.h"

#include "base/failure.h"
#include "command/picture_options.h"
#include "package_builder/package_file.h"
#include "pictures/picture_files.h"
#include "render/line_pairs.h"
#include "render/prepared_render.h"
#include "reports/guard_plot.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <numeric>

namespace oxel::tools {

namespace {

const std::string guard_explanation = std::string(picture_explanation) + R"(
Shows the power guard's measure of each diffusion, for the picture as it is (first) and moved down
by one row (shifted): the sum, over successive line pairs and over the colours, of the squared
change of each colour's share of the pair. With oxel render --guard THRESHOLD a measure below the
threshold passes; if neither does, the frame is blanked. The table rounds measures up; --json prints
all their digits.

PLOT, an SVG or a PNG by its name, shows beside the picture which rows the measure comes from.

Examples:
  oxel guard photo.jpg --panel six-colour
  oxel guard photo.jpg --panel panel.json -o plot.svg)";

struct GuardOptions {
    std::string photo;
    std::string plot;
    bool json = false;
    PictureSettings picture;
};

/// The picture as the guard tries it again: under a row of zeros, without its last row.
Bytes moved_down(Bytes picture, ImageSize size) {
    const auto row = 3 * static_cast<std::ptrdiff_t>(size.width);
    std::move_backward(picture.begin(), picture.end() - row, picture.end());
    std::fill(picture.begin(), picture.begin() + row, std::uint8_t{0});
    return picture;
}

std::vector<double> sums(const std::vector<std::vector<double>> &changes) {
    std::vector<double> sums;
    for (const auto &pair : changes)
        sums.push_back(std::accumulate(pair.begin(), pair.end(), 0.0));
    return sums;
}

void write_plot(const std::string &path, const Bytes &picture, ImageSize size,
                const std::vector<GuardSeries> &series) {
    const std::string svg = guard_plot(encode_png(path, picture, size), size, series);
    OutputFiles outputs;
    outputs.write(path,
                  path.ends_with(".svg") ? Bytes(svg.begin(), svg.end()) : png_of_svg(path, svg));
    outputs.publish();
}

/// The measures of a diffusion.
struct Measures {
    std::string dither;
    double first;
    double shifted;
};

/// Rounded up, so that a threshold that passes in the table passes.
double thousandths(double measure) {
    return std::ceil(measure * 1000) / 1000;
}

void print(const std::vector<Measures> &table, bool json) {
    if (!json)
        std::cout << "dither                 first   shifted\n"
                  << std::fixed << std::setprecision(3);
    for (const auto &[dither, first, shifted] : table)
        if (json)
            std::cout << nlohmann::ordered_json{{"dither", dither},
                                                {"first", first},
                                                {"shifted", shifted}}
                      << '\n';
        else
            std::cout << std::left << std::setw(18) << dither << std::right << std::setw(10)
                      << thousandths(first) << std::setw(10) << thousandths(shifted) << '\n';
}

void run(const GuardOptions &options) {
    if (!options.plot.empty() && !options.plot.ends_with(".svg") && !options.plot.ends_with(".png"))
        throw CLI::ValidationError("-o", "must end in .svg or .png");
    check_outputs({options.plot}, {options.photo, options.picture.panel});
    Panel panel =
        open_panel(options.picture.panel, tuning_of(options.picture, 0), options.picture.intent);
    adopt_package(panel.source, panel.package);
    write_indices_for_codes();
    ImageSize size{};
    const Bytes picture = prepare_guarded(open_picture(options.photo, options.picture, panel, size),
                                          size, panel, !options.picture.bare)
                              .bytes;
    const Bytes shifted = moved_down(picture, size);
    const int colours = read_package_fields(panel.package)->colours;

    std::vector<GuardSeries> series;
    std::vector<Measures> table;
    for (std::size_t mode = 0; mode < dither_names.size(); ++mode) {
        if (mode > 0 && mode % 2 == 0) { // the next kernel
            tune(panel, tuning_of(options.picture, static_cast<int>(mode)));
            adopt_package(panel.source, panel.package);
        }
        const auto changes = [&](const Bytes &image) {
            return line_pair_changes(
                render(panel.source, image, size, static_cast<int>(mode), {.tcon = true}).tcon,
                size, colours);
        };
        const auto first = changes(picture);
        const auto second = changes(shifted);
        table.push_back({dither_names[mode], guard_measure(first), guard_measure(second)});
        series.push_back({dither_names[mode], sums(first), sums(second)});
    }
    if (!options.plot.empty())
        write_plot(options.plot, picture, size, series);
    print(table, options.json);
    if (!options.plot.empty() && !options.json)
        std::cout << printable(options.plot) << ": plot\n";
}

} // namespace

void add_guard_command(CLI::App &app) {
    const auto options = std::make_shared<GuardOptions>();
    CLI::App *command = app.add_subcommand(
        "guard", "Measure what the power guard of render looks at, to choose its threshold");
    command->footer(guard_explanation);
    command->add_option("PHOTO", options->photo, "The picture")->required();
    command->add_option("-o", options->plot, "Where a plot goes")->option_text("PLOT");
    command->add_flag("--json", options->json, "Print each diffusion as a line of JSON");
    add_picture_options(*command, options->picture);
    command->callback([options] { run(*options); });
}

} // namespace oxel::tools
