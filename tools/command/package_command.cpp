#include "command/commands.h"

#include "base/failure.h"
#include "base/files.h"
#include "command/picture_options.h"
#include "package_builder/noted_options.h"
#include "package_builder/package_file.h"
#include "panels/panel.h"
#include "render/library.h"
#include "render/progress.h"
#include "reports/package_report.h"

#include <array>
#include <functional>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace oxel::tools {

namespace {

constexpr const char *build_explanation = R"(
A panel description:
  {
    "name": "my panel",
    "width": 800, "height": 480,     both or neither; the size of renderings
    "tft_layout": 0,                 driving layout 1 to 5; 0, the default, is none
    "colours": [                     2 to 256, in the order of their palette indices
      {"name": "black", "rgb": [34, 30, 42], "tcon": 0},
      {"name": "white", "lab": [68.5, -2.0, 2.7], "tcon": 1}
    ]
  }
rgb is the measured colour in sRGB, 0 to 255; lab the same in absolute CIE L*a*b* of illuminant
D50. A lab colour outside sRGB is clipped, with a warning. tcon is the timing controller's code,
0 to 255. The same description and options give the same bytes on every machine.

Intents: perceptual makes a picture's white the paper's and its black the ink's, and keeps hues;
vivid keeps more chroma at the cost of lightness; absolute shows reachable colours as they are and
others as the nearest, without regard to the paper.

The table is right for flat areas under the diffusion that --tune names. One table cannot be
right for all; "all" is a compromise that is nearest to floyd.

Examples:
  oxel package build panel.json -o panel.lut
  oxel package build panel.json -o panel.lut --intent vivid --report panel.html
  oxel package build panel.json -o panel.lut --tune stucki)";

constexpr const char *info_explanation = R"(
Shows the header, the palette, and how much of the colour space goes to each palette index. Of a
damaged package it shows what can be read, and exits with 1. Of a panel description it shows what
that says.

Example:
  oxel package info panel.lut)";

struct BuildRequest {
    std::string description;
    std::string output;
    std::string report;
    BuildOptions options;
};

/// Calls back with the work done, which a bar on the terminal shows.
std::function<void(double)> shown_on(Progress &bar) {
    return [&bar, steps = 0](double share) mutable {
        for (; steps < int(100 * share); ++steps)
            bar.advance(true, false);
    };
}

void build(BuildRequest request) {
    if (!request.report.empty() && !request.report.ends_with(".html"))
        throw Failure(request.report, "a report's name must end in .html");
    check_outputs({request.output, request.report}, {request.description});
    const PanelDescription description = read_panel_description(request.description);
    const Characterisation panel(palette_of(description.colours));
    BuiltTables tables;
    {
        Progress bar(100, true);
        request.options.progress = shown_on(bar);
        tables = build_tables(panel, request.options);
    }
    const PackageReport report = judge_package(description, panel, request.options, tables);
    const Bytes package = assemble_package(description.colours, tables);
    OutputFiles outputs;
    outputs.write(request.output, package);
    if (!request.report.empty()) {
        const std::string page = html_report(report);
        outputs.write(request.report,
                      {reinterpret_cast<const std::uint8_t *>(page.data()), page.size()});
    }
    outputs.publish();
    std::cout << printable(request.output) << ": " << package.size() << " bytes\n"
              << text_report(report);
}

std::string hexadecimal(std::uint32_t number, int digits) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0') << std::setw(digits) << number;
    return text.str();
}

void print_fields(const PackageFields &fields, const std::optional<NotedOptions> &noted,
                  std::uint32_t computed_crc) {
    std::cout << "producer      ";
    for (const std::uint8_t byte : fields.producer)
        std::cout << hexadecimal(byte, 2) << ' ';
    if (noted)
        std::cout << "\nbuilt as      " << intent_names()[std::size_t(noted->intent)]
                  << ", tuned for " << tuning_names()[std::size_t(noted->tuning)];
    std::cout << "\nlength        " << fields.length << "\ncolours       " << fields.colours
              << "\npalette       at " << fields.palette << "\nTCON codes    at " << fields.tcon
              << "\ngamut table   at " << fields.gamut << "\nquantisation  at "
              << fields.quantisation << "\nCRC-32        " << hexadecimal(fields.crc, 8)
              << ", computed " << hexadecimal(computed_crc, 8) << '\n';
}

/// A byte of a table, or a dash if the table does not lie in the package.
std::string column(std::span<const std::uint8_t> bytes, std::size_t i) {
    return bytes.empty() ? "-" : std::to_string(bytes[i]);
}

/// The colours that the header counts, and any further ones that the quantisation table uses.
void print_palette(std::span<const std::uint8_t> package, const PackageFields &fields) {
    const auto cells = package_table(package, fields.quantisation, package_cells);
    std::array<std::size_t, 256> uses{};
    for (const std::uint8_t index : cells)
        ++uses[index];
    std::cout << "\nindex   R   G   B  TCON   cells\n" << std::fixed << std::setprecision(1);
    for (std::size_t i = 0; i < uses.size(); ++i) {
        if (i >= fields.colours && uses[i] == 0)
            continue;
        const auto rgb = package_table(package, std::uint64_t{fields.palette} + 3 * i, 3);
        const auto code = package_table(package, std::uint64_t{fields.tcon} + i, 1);
        if (rgb.empty() && code.empty() && cells.empty())
            continue; // nothing can be read
        std::cout << std::setw(5) << i << std::setw(4) << column(rgb, 0) << std::setw(4)
                  << column(rgb, 1) << std::setw(4) << column(rgb, 2) << std::setw(6)
                  << column(code, 0) << std::setw(6);
        if (cells.empty())
            std::cout << '-';
        else
            std::cout << 100.0 * double(uses[i]) / package_cells << " %";
        std::cout << (rgb.empty() ? "" : swatch({rgb[0], rgb[1], rgb[2]})) << '\n';
    }
}

void print_description(const std::string &path, const PanelDescription &panel) {
    std::cout << printable(path)
              << ": a panel description, of which oxel package build makes a package\n"
              << "name          " << printable(panel.name) << "\nsize          "
              << (panel.size ? panel.size->text() : "that of each picture") << "\ntft_layout    "
              << panel.layout << "\n\nindex   R   G   B  TCON\n";
    for (std::size_t i = 0; i < panel.colours.size(); ++i) {
        const auto &[rgb, tcon] = panel.colours[i];
        std::cout << std::setw(5) << i << std::setw(4) << int{rgb[0]} << std::setw(4) << int{rgb[1]}
                  << std::setw(4) << int{rgb[2]} << std::setw(6) << int{tcon} << "  "
                  << printable(panel.colour_names[i]) << swatch(rgb) << '\n';
    }
}

void info(const std::string &path) {
    const Bytes package = read_file(path);
    if (!package.empty() && is_description(package))
        return print_description(path, read_panel_description(path));
    std::cout << printable(path) << ": " << package.size() << " bytes\n";
    if (const auto fields = read_package_fields(package)) {
        print_fields(*fields, noted_options(package), package_crc(package));
        print_palette(package, *fields);
    }
    std::cout << std::flush;
    adopt_package(path, package);
    render(path, {0, 0, 0}, {1, 1}, 0,
           {.tcon = true}); // only a render tells whether the tables can be used
    std::cout << "\nThe package is whole and its tables can be used.\n";
}

} // namespace

void add_package_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("package", "Build and examine LUT packages");
    command->require_subcommand(1);
    const auto request = std::make_shared<BuildRequest>();
    CLI::App *builder = command->add_subcommand("build", "Build a package from a description");
    builder->footer(build_explanation);
    builder->add_option("PANEL", request->description, "The panel description, in JSON")
        ->required();
    builder->add_option("-o,--output", request->output, "Where the package goes")->required();
    add_choice(*builder, "--intent", request->options.intent, intent_names(),
               "What becomes of colours that the panel cannot show");
    add_choice(*builder, "--tune", request->options.tuning, tuning_names(),
               "The diffusion that the colours are right for");
    builder->add_option("--report", request->report, "Also write a page for the engineer")
        ->option_text("HTML");
    builder->callback([request] { build(*request); });

    const auto input = std::make_shared<std::string>();
    CLI::App *examiner = command->add_subcommand("info", "Show what a package holds");
    examiner->footer(info_explanation);
    examiner->add_option("PACKAGE", *input, "The package")->required();
    examiner->callback([input] { info(*input); });
}

} // namespace oxel::tools
