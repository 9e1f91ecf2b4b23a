#include "panels/package_cache.h"

#include "builder_version.h"
#include "package_builder/noted_options.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

/// Fowler, Noll and Vo's, of 64 bits. An entry says itself which panel it is for, so that a
/// collision costs time only.
std::uint64_t hash(const Bytes &bytes) {
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const std::uint8_t byte : bytes)
        sum = (sum ^ byte) * 0x100000001B3;
    return sum;
}

std::string entry_name(const std::vector<PanelColour> &colours, const BuildOptions &options) {
    const std::string_view version = builder_version;
    Bytes key(version.begin(), version.end());
    key.push_back(static_cast<std::uint8_t>(options.intent));
    key.push_back(static_cast<std::uint8_t>(options.tuning));
    for (const auto &[rgb, tcon] : colours) {
        key.insert(key.end(), rgb.begin(), rgb.end());
        key.push_back(tcon);
    }
    const std::uint64_t sum = hash(key);
    std::string name;
    for (int shift = 60; shift >= 0; shift -= 4)
        name += "0123456789abcdef"[sum >> shift & 15];
    return name + ".lut";
}

/// Empty if the user has none.
fs::path cache_folder() {
    const char *const cache = std::getenv("XDG_CACHE_HOME");
    if (cache && fs::path(cache).is_absolute()) // others are to be ignored
        return fs::path(cache) / "oxel";
    const char *const home = std::getenv("HOME");
    return home && fs::path(home).is_absolute() ? fs::path(home) / ".cache" / "oxel" : fs::path();
}

bool is_package_of(const Bytes &package, const std::vector<PanelColour> &colours,
                   const BuildOptions &options) {
    const auto fields = read_package_fields(package);
    if (!fields || fields->length != package.size() || fields->crc != package_crc(package))
        return false;
    const auto noted = noted_options(package);
    const auto palette = package_table(package, fields->palette, 3 * colours.size());
    const auto codes = package_table(package, fields->tcon, colours.size());
    if (!noted || noted->intent != options.intent || noted->tuning != options.tuning ||
        fields->colours != colours.size() || palette.empty() || codes.empty() ||
        package_table(package, fields->gamut, 3 * package_cells).empty() ||
        package_table(package, fields->quantisation, package_cells).empty())
        return false;
    for (std::size_t i = 0; i < colours.size(); ++i)
        if (!std::equal(colours[i].rgb.begin(), colours[i].rgb.end(), &palette[3 * i]) ||
            codes[i] != colours[i].tcon)
            return false;
    return true;
}

} // namespace

Bytes cached_package(const std::vector<PanelColour> &colours, const BuildOptions &options) {
    const fs::path folder = cache_folder();
    if (folder.empty())
        return build_package(colours, options);
    const std::string entry = (folder / entry_name(colours, options)).string();
    try {
        if (fs::is_regular_file(entry)) // reading a pipe would wait
            if (Bytes package = read_file(entry); is_package_of(package, colours, options))
                return package;
    } catch (const std::exception &) { // as good as not there
    }
    const Bytes package = build_package(colours, options);
    try {
        make_folder(folder);
        OutputFiles output;
        output.write(entry, package);
        output.publish();
    } catch (const std::exception &) { // the next one builds it again
    }
    return package;
}

} // namespace oxel::tools
