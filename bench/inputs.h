#ifndef OXEL_BENCH_INPUTS_H
#define OXEL_BENCH_INPUTS_H

#include "yardstick.h"

#include <cstdint>
#include <string>
#include <vector>

namespace bench {

using Bytes = std::vector<std::uint8_t>;

/// Ends the program with one line.
[[noreturn]] void fail(const std::string &what);

struct PackageFile {
    Bytes bytes;
    yardstick::Package tables; // in `bytes`
};

/// A picture, and what jobs start from that are a part of a render.
struct Scene {
    std::string name;
    int width, height;
    Bytes pixels;  // R, G, B
    Bytes mapped;  // through the gamut table
    Bytes indices; // of the plain Floyd-Steinberg diffusion
    Bytes striped; // the pixels with every second pair of rows darkened
    double striped_measure;

    std::string size() const { return std::to_string(width) + "x" + std::to_string(height); }
};

/// Adopts the package, too.
PackageFile read_package(const std::string &path);

/// `path` is a binary PPM of 8 bits.
Scene read_scene(const std::string &path, const yardstick::Package &package);

} // namespace bench

#endif
