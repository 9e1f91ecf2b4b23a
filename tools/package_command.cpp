#include "package_command.h"

#include "failure.h"
#include "files.h"
#include "library.h"
#include "package_builder/package_file.h"
#include "panel.h"

#include <array>
#include <cstdlib>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <unistd.h>

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
0 to 255. The same description gives the same bytes on every machine.

Example: oxel package build panel.json -o panel.lut)";

constexpr const char *info_explanation = R"(
Shows the header, the palette, and how much of the colour space goes to each palette index. Of a
damaged package it shows what can be read, and exits with 1.

Example: oxel package info panel.lut)";

void build(const std::string &description, const std::string &output) {
    check_outputs({output}, {description});
    const Bytes package = build_package(read_panel_description(description).colours);
    OutputFiles outputs;
    outputs.write(output, package);
    outputs.publish();
    std::cout << output << ": " << package.size() << " bytes\n";
}

std::string hexadecimal(std::uint32_t number, int digits) {
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0') << std::setw(digits) << number;
    return text.str();
}

void print_fields(const PackageFields &fields, std::uint32_t computed_crc) {
    std::cout << "producer      ";
    for (const std::uint8_t byte : fields.producer)
        std::cout << hexadecimal(byte, 2) << ' ';
    std::cout << "\nlength        " << fields.length << "\ncolours       " << fields.colours
              << "\npalette       at " << fields.palette << "\nTCON codes    at " << fields.tcon
              << "\ngamut table   at " << fields.gamut << "\nquantisation  at "
              << fields.quantisation << "\nCRC-32        " << hexadecimal(fields.crc, 8)
              << ", computed " << hexadecimal(computed_crc, 8) << '\n';
}

/// A patch of the colour, where the standard output shows it.
std::string swatch(std::span<const std::uint8_t> rgb) {
    static const bool colours = isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    if (!colours || rgb.empty())
        return "";
    return "  \x1b[48;2;" + std::to_string(rgb[0]) + ";" + std::to_string(rgb[1]) + ";" +
           std::to_string(rgb[2]) + "m    \x1b[0m";
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
        std::cout << std::setw(5) << i << std::setw(4) << column(rgb, 0) << std::setw(4)
                  << column(rgb, 1) << std::setw(4) << column(rgb, 2) << std::setw(6)
                  << column(code, 0) << std::setw(6);
        if (cells.empty())
            std::cout << '-';
        else
            std::cout << 100.0 * double(uses[i]) / package_cells << " %";
        std::cout << swatch(rgb) << '\n';
    }
}

void info(const std::string &path) {
    const Bytes package = read_file(path);
    std::cout << path << ": " << package.size() << " bytes\n";
    if (const auto fields = read_package_fields(package)) {
        print_fields(*fields, package_crc(package));
        print_palette(package, *fields);
    }
    std::cout << std::flush;
    adopt_package(path, package);
    render(path, {0, 0, 0}, {1, 1}, 0); // only a render tells whether the tables can be used
    std::cout << "\nThe package is whole and its tables can be used.\n";
}

} // namespace

void add_package_command(CLI::App &app) {
    CLI::App *command = app.add_subcommand("package", "Build and examine LUT packages");
    command->require_subcommand(1);
    const auto input = std::make_shared<std::string>();
    const auto output = std::make_shared<std::string>();

    CLI::App *builder = command->add_subcommand("build", "Build a package from a description");
    builder->footer(build_explanation);
    builder->add_option("PANEL", *input, "The panel description, in JSON")->required();
    builder->add_option("-o,--output", *output, "Where the package goes")->required();
    builder->callback([input, output] { build(*input, *output); });

    CLI::App *examiner = command->add_subcommand("info", "Show what a package holds");
    examiner->footer(info_explanation);
    examiner->add_option("PACKAGE", *input, "The package")->required();
    examiner->callback([input] { info(*input); });
}

} // namespace oxel::tools
