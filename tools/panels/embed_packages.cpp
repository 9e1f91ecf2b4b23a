// Part of the build: writes a C++ source that holds the packages of the panels described in files.
//
//   oxel_embed_packages SOURCE.cpp PANEL.json ...

#include "base/files.h"
#include "panels/packed_package.h"
#include "panels/panel_description.h"

#include <iostream>

using namespace oxel::tools;

namespace {

void append_literal(std::string &text, const Bytes &bytes) {
    text += '"';
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i % 4096 == 4095)
            text += "\"\n\"";
        text += '\\';
        for (int shift = 6; shift >= 0; shift -= 3)
            text += static_cast<char>('0' + (bytes[i] >> shift & 7));
    }
    text += '"';
}

void append_packages(std::string &source, const std::string &panel) {
    const Bytes json = read_file(panel);
    const PanelDescription description =
        parse_panel_description(panel, {reinterpret_cast<const char *>(json.data()), json.size()});
    source += '{';
    for (std::size_t tuning = 0; tuning < tunings; ++tuning) {
        const Bytes package = build_package(description.colours, {.tuning = Tuning(tuning)});
        const Bytes packed = pack_package(package);
        source += "{{";
        append_literal(source, packed);
        source +=
            ", " + std::to_string(packed.size()) + "}, " + std::to_string(package.size()) + "},";
    }
    source += "},\n";
}

} // namespace

int main(int argc, char **argv) {
    try {
        std::string source =
            "#include \"built_in_panels.h\"\n"
            "const oxel::tools::PackedPackage oxel::tools::built_in_packages[][tunings] = {\n";
        for (int i = 2; i < argc; ++i)
            append_packages(source, argv[i]);
        source += "};\n";
        OutputFiles outputs;
        outputs.write(argv[1],
                      {reinterpret_cast<const std::uint8_t *>(source.data()), source.size()});
        outputs.publish();
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "oxel_embed_packages: " << error.what() << '\n';
        return 1;
    }
}
