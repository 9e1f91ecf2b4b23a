// Prints what it changes in pictures to be decoded at half, a quarter or an eighth of their size:
// CIEDE2000 between that, resized in linear light, and the whole picture resized in linear light.
//
//   shrink_quality [PICTURE ...]
//
// Each picture and, after them, patterns of single pixels are saved in each format first. A column
// stands for the factor that was left for the resize: mean, 95th percentile, largest; means of all
// pictures.

#include "base/failure.h"
#include "decoder/loaders.h"
#include "decoder/vips_session.h"
#include "package_builder/colour_difference.h"
#include "package_builder/colour_space.h"
#include "package_builder/patch_quality.h"
#include "pictures/decoder_messages.h"
#include "preparation/light.h"
#include "preparation/reduction.h"

#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

using namespace oxel::tools;
using vips::VImage;

namespace {

constexpr double factors[] = {1.25, 1.6, 2, 2.5, 3, 4};
constexpr std::size_t factor_count = std::size(factors);

struct Format {
    const char *name;
    const char *suffix;
};

constexpr Format formats[] = {{"JPEG", ".jpg[Q=90]"},
                              {"WebP", ".webp[Q=90]"},
                              {"JPEG 2000", ".jp2[Q=60]"},
                              {"TIFF pyramid", ".tif[pyramid,tile,compression=deflate]"}};

/// A file that goes with the object.
struct SavedPicture {
    SavedPicture(const VImage &picture, const char *suffix)
        : path(std::filesystem::temp_directory_path() /
               ("shrink_quality-" + std::to_string(getpid()))) {
        path += std::string(suffix).substr(0, std::string(suffix).find('['));
        picture.write_to_file((path.string() + std::strchr(suffix, '[')).c_str());
    }
    SavedPicture(const SavedPicture &) = delete;
    SavedPicture &operator=(const SavedPicture &) = delete;
    ~SavedPicture() { std::filesystem::remove(path); }

    std::filesystem::path path;
};

OpenPicture opened(const std::filesystem::path &path, int halvings) {
    const Descriptor file(open(path.c_str(), O_RDONLY));
    OpenPicture picture = open_picture_file(file.get(), false, {1, halvings}, {});
    picture.image = picture.image.copy_memory();
    return picture;
}

Light resized(const OpenPicture &picture, ImageSize size) {
    std::size_t count = 0;
    void *memory = picture.image.write_to_memory(&count);
    const Bytes bytes = take_vips_memory(memory, count);
    Light light(3 * size.pixels());
    const ImageSize own{picture.image.width(), picture.image.height()};
    Reduction reduction({own.width, double(size.width) / own.width, picture.shift},
                        {own.height, double(size.height) / own.height, picture.shift}, 0, 0, size,
                        light);
    const auto row_samples = 3 * static_cast<std::size_t>(own.width);
    Light row(row_samples);
    for (std::size_t place = 0; place < bytes.size(); place += row_samples) {
        light_of_bytes({&bytes[place], row_samples}, row);
        reduction.add(row);
    }
    return light;
}

DifferenceSummary difference(const Light &one, const Light &other) {
    const auto lab_of = [](const std::uint16_t *light) {
        return lab_from_light({light[0] / 65535.0, light[1] / 65535.0, light[2] / 65535.0});
    };
    std::vector<double> differences;
    for (std::size_t i = 0; i < one.size(); i += 3)
        differences.push_back(ciede2000(lab_of(&one[i]), lab_of(&other[i])));
    return summarise(differences);
}

void print_table(const char *title, const std::vector<VImage> &pictures) {
    std::printf("\n%s\n\n| Decoded at |", title);
    for (const double factor : factors)
        std::printf(" %g left |", factor);
    std::printf("\n|---|---|---|---|---|---|---|\n");
    for (const Format &format : formats)
        for (int halvings = 1; halvings <= 3; ++halvings) {
            std::vector<DifferenceSummary> sums(factor_count);
            for (const VImage &picture : pictures) {
                const SavedPicture saved(picture, format.suffix);
                const OpenPicture whole = opened(saved.path, 0);
                const OpenPicture smaller = opened(saved.path, halvings);
                for (std::size_t i = 0; i < factor_count; ++i) {
                    const auto side = [&](int own) { return std::lround(own / factors[i]); };
                    const ImageSize size{int(side(smaller.image.width())),
                                         int(side(smaller.image.height()))};
                    const DifferenceSummary one =
                        difference(resized(whole, size), resized(smaller, size));
                    sums[i].mean += one.mean / double(pictures.size());
                    sums[i].percentile95 += one.percentile95 / double(pictures.size());
                    sums[i].largest = std::max(sums[i].largest, one.largest);
                }
            }
            std::printf("| %s, 1/%d |", format.name, 1 << halvings);
            for (const DifferenceSummary &sum : sums)
                std::printf(" %.2f, %.2f, %.1f |", sum.mean, sum.percentile95, sum.largest);
            std::printf("\n");
            std::fflush(stdout);
        }
}

/// Of 1024 x 1024 pixels, of which `light` says how light they are.
template <class Pattern>
VImage pattern(Pattern light) {
    constexpr int side = 1024;
    Bytes bytes;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
            bytes.insert(bytes.end(), 3, static_cast<std::uint8_t>(light(x, y)));
    return image_of(bytes, {side, side}).copy_memory();
}

void run(const std::vector<std::string> &paths) {
    std::vector<VImage> photographs;
    for (const std::string &path : paths)
        photographs.push_back(VImage::new_from_file(path.c_str())
                                  .colourspace(VIPS_INTERPRETATION_sRGB)
                                  .extract_band(0, VImage::option()->set("n", 3))
                                  .copy_memory());
    if (!photographs.empty())
        print_table("Photographs", photographs);
    std::uint32_t random = 1;
    print_table("Columns of black and white",
                {pattern([](int x, int) { return x % 2 == 0 ? 0 : 255; })});
    print_table("Chequerboard", {pattern([](int x, int y) { return (x + y) % 2 == 0 ? 0 : 255; })});
    print_table("Black lines on white, 7 pixels apart",
                {pattern([](int x, int y) { return x % 7 == 0 || y % 7 == 0 ? 0 : 255; })});
    print_table("Noise", {pattern([&](int, int) {
                    random = random * 1664525 + 1013904223;
                    return random >> 24;
                })});
}

} // namespace

int main(int argc, char **argv) {
    try {
        start_vips();
        run({argv + 1, argv + argc});
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "shrink_quality: %s\n", error.what());
        return 1;
    }
}
