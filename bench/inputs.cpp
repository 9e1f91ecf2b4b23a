#include "inputs.h"

#include "Oxel_Morvel6_render.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace bench {

void fail(const std::string &what) {
    std::fprintf(stderr, "speed: %s\n", what.c_str());
    std::exit(1);
}

namespace {

Bytes read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    Bytes bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file || bytes.empty())
        fail(path + ": cannot be read");
    return bytes;
}

void read_ppm(const std::string &path, Scene &scene) {
    const Bytes file = read_file(path);
    std::vector<int> numbers;
    std::size_t i = 2;
    while (numbers.size() < 3 && i < file.size()) {
        if (file[i] == '#')
            while (i + 1 < file.size() && file[i] != '\n')
                ++i;
        if (std::isdigit(file[i])) {
            numbers.push_back(0);
            for (; i < file.size() && std::isdigit(file[i]) && numbers.back() < 100000; ++i)
                numbers.back() = 10 * numbers.back() + (file[i] - '0');
        }
        ++i;
    }
    if (numbers.size() < 3 || file[0] != 'P' || file[1] != '6' || numbers[2] != 255)
        fail(path + ": not a binary PPM of 8 bits");
    scene.width = numbers[0];
    scene.height = numbers[1];
    const std::size_t pixels =
        static_cast<std::size_t>(numbers[0]) * static_cast<std::size_t>(numbers[1]);
    if (pixels == 0 || file.size() - i != 3 * pixels)
        fail(path + ": not as long as its header says");
    scene.pixels.assign(file.begin() + static_cast<std::ptrdiff_t>(i), file.end());
    const std::size_t start = path.find_last_of('/') + 1;
    scene.name = path.substr(start, path.find_last_of('.') - start);
}

} // namespace

PackageFile read_package(const std::string &path) {
    PackageFile package{read_file(path), {}};
    const Bytes &bytes = package.bytes;
    if (Oxel_Morvel6_render_init(bytes.data(), static_cast<std::uint32_t>(bytes.size())) != 0)
        fail(path + ": not a package");
    const auto table = [&](std::size_t field) {
        return bytes.data() + (bytes[field] | bytes[field + 1] << 8 | bytes[field + 2] << 16);
    };
    package.tables = {table(12), table(16), table(20), table(24), bytes[10] | bytes[11] << 8};
    return package;
}

Scene read_scene(const std::string &path, const yardstick::Package &package) {
    Scene scene{};
    read_ppm(path, scene);
    const int w = scene.width, h = scene.height;
    scene.mapped.resize(scene.pixels.size());
    scene.indices.resize(scene.pixels.size() / 3);
    const auto diffuse = [&](const Bytes &pixels) {
        yardstick::map_gamut(package, pixels.data(), w, h, scene.mapped.data());
        yardstick::dither(package, scene.mapped.data(), w, h, DITHER_FLOYD, scene.indices.data());
    };
    scene.striped = scene.pixels;
    const auto pair_bytes = 6 * static_cast<std::size_t>(w);
    for (std::size_t i = 0; i < scene.striped.size(); ++i)
        if (i / pair_bytes % 2 != 0)
            scene.striped[i] /= 2;
    diffuse(scene.striped);
    scene.striped_measure = yardstick::measure(package, scene.indices.data(), w, h);
    diffuse(scene.pixels);
    return scene;
}

} // namespace bench
