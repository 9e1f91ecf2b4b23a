// Writes what delays the agreement of segments in serpentine order (src/forms/segments.h):
//
//   worst_cases WIDTH HEIGHT FOLDER
//
// FOLDER receives random.lut, a package of 256 random colours with a random quantisation table;
// noise.ppm; and grey.ppm, on which diffusion falls into patterns that repeat.
#include "yardstick.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

void write_file(const std::string &path, const std::string &head, const Bytes &bytes) {
    std::ofstream file(path, std::ios::binary);
    file << head;
    file.write(reinterpret_cast<const char *>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) {
        std::fprintf(stderr, "worst_cases: %s: cannot be written\n", path.c_str());
        std::exit(1);
    }
}

class RandomBytes {
  public:
    void append(Bytes &bytes, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            bytes.push_back(static_cast<std::uint8_t>(engine_() >> 24));
    }

  private:
    std::mt19937 engine_; // the same numbers on every machine
};

void put_u32(Bytes &bytes, std::size_t place, std::uint32_t number) {
    for (std::size_t i = 0; i < 4; ++i)
        bytes[place + i] = static_cast<std::uint8_t>(number >> 8 * i);
}

Bytes random_package(RandomBytes &random) {
    constexpr std::size_t colours = 256, cells = 64 * 64 * 64;
    Bytes package(28);
    package[11] = colours >> 8;
    const auto place_table = [&](std::size_t offset_field) {
        put_u32(package, offset_field, static_cast<std::uint32_t>(package.size()));
    };
    place_table(12);
    random.append(package, 3 * colours);
    place_table(16);
    random.append(package, colours);
    place_table(20);
    for (std::size_t cell = 0; cell < cells; ++cell)
        for (const int shift : {12, 6, 0})
            package.push_back(static_cast<std::uint8_t>((cell >> shift & 63) << 2));
    place_table(24);
    random.append(package, cells);
    put_u32(package, 6, static_cast<std::uint32_t>(package.size() + 4));
    const std::uint32_t crc = yardstick::crc32(package.data(), package.size());
    package.resize(package.size() + 4);
    put_u32(package, package.size() - 4, crc);
    return package;
}

} // namespace

int main(int argc, char **argv) {
    const auto number = [](const char *text) {
        return static_cast<int>(std::strtol(text, nullptr, 10));
    };
    const int width = argc == 4 ? number(argv[1]) : 0;
    const int height = argc == 4 ? number(argv[2]) : 0;
    if (width <= 0 || height <= 0) {
        std::fprintf(stderr, "usage: worst_cases WIDTH HEIGHT FOLDER\n");
        return 2;
    }
    const std::string folder = argv[3];
    const std::string head =
        "P6 " + std::to_string(width) + " " + std::to_string(height) + " 255\n";
    const std::size_t bytes =
        std::size_t{3} * static_cast<unsigned>(width) * static_cast<unsigned>(height);
    RandomBytes random;
    write_file(folder + "/random.lut", "", random_package(random));
    Bytes noise;
    random.append(noise, bytes);
    write_file(folder + "/noise.ppm", head, noise);
    write_file(folder + "/grey.ppm", head, Bytes(bytes, 126));
}
