// Prints how true a panel's packages are to colour: on flat patches, on a grey ramp and on
// photographs, beside what general tools do, which dither sRGB straight to the measured colours.
//
//   colour_quality PANEL.json [PICTURE ...]
//   colour_quality --pictures FOLDER PANEL.json PICTURE    writes what they make of a picture
//
// All pictures are rendered by the library and judged by the light that leaves the panel.

#include "Oxel_Morvel6_render.h"
#include "base/failure.h"
#include "base/files.h"
#include "package_builder/cells.h"
#include "package_builder/colour_difference.h"
#include "package_builder/noted_options.h"
#include "package_builder/patch_quality.h"
#include "package_builder/patch_simulation.h"
#include "panels/panel.h"
#include "pictures/picture.h"
#include "pictures/vips_session.h"
#include "render/library.h"

#include <vips/vips8>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <random>

using namespace oxel::tools;

namespace {

/// An image in linear light.
struct LightImage {
    ImageSize size;
    std::vector<float> values; // 3 a pixel

    Vector3 at(std::size_t pixel) const {
        return {values[3 * pixel], values[3 * pixel + 1], values[3 * pixel + 2]};
    }
};

LightImage light_of(const Bytes &srgb, ImageSize size) {
    static const std::vector<float> curve = [] {
        std::vector<float> light;
        for (int byte = 0; byte < 256; ++byte)
            light.push_back(float(light_from_srgb({double(byte), 0, 0})[0]));
        return light;
    }();
    LightImage image{size, std::vector<float>(srgb.size())};
    std::transform(srgb.begin(), srgb.end(), image.values.begin(),
                   [](std::uint8_t byte) { return curve[byte]; });
    return image;
}

LightImage blur(const LightImage &image, double sigma) {
    using vips::VImage;
    void *memory =
        VImage::new_from_memory(const_cast<float *>(image.values.data()),
                                image.values.size() * sizeof(float), image.size.width,
                                image.size.height, 3, VIPS_FORMAT_FLOAT)
            .gaussblur(
                sigma,
                VImage::option()->set("precision", VIPS_PRECISION_FLOAT)->set("min_ampl", 0.01))
            .cast(VIPS_FORMAT_FLOAT)
            .write_to_memory(nullptr);
    LightImage blurred{image.size, std::vector<float>(image.values.size())};
    std::copy_n(static_cast<const float *>(memory), blurred.values.size(), blurred.values.begin());
    g_free(memory);
    return blurred;
}

std::vector<Vector3> lab_of(const LightImage &image, const Vector3 &white) {
    std::vector<Vector3> lab;
    for (std::size_t pixel = 0; pixel < image.size.pixels(); ++pixel) {
        Vector3 light = image.at(pixel);
        for (double &channel : light)
            channel = std::max(channel, 0.0); // what a blur leaves below
        lab.push_back(lab_from_light(light, white));
    }
    return lab;
}

/// What the panel shows of a picture, which is dithered onto the package's grid, as pictures are
/// before they are rendered.
LightImage shown(const Bytes &package, Bytes picture, ImageSize size, int mode) {
    const auto noted = noted_options(package);
    const bool pure_ends = noted && noted->intent != Intent::absolute;
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const auto width = std::size_t(size.width);
        const double place = pure_ends ? picture[i] * 63 / 255.0 : (picture[i] - 1.5) / 4;
        const double cell = std::floor(place + 1 - grid_threshold(i / 3 % width, i / 3 / width));
        picture[i] = static_cast<std::uint8_t>(4 * std::clamp(cell, 0.0, 63.0) + 1);
    }
    adopt_package("package", package);
    return light_of(render("package", picture, size, mode).measured, size);
}

/// The middle of a flat patch.
struct Patch {
    Vector3 mean;
    double grain; // mean CIEDE2000 to the mean after a blur of 1.5 pixels
};

Patch show_patch(const Bytes &package, const RgbBytes &request, int mode) {
    constexpr int lead = 64; // rows in which the diffusion settles
    constexpr ImageSize size{96, 96 + lead};
    constexpr int border = 16;
    Bytes picture;
    for (std::size_t i = 0; i < size.pixels(); ++i)
        picture.insert(picture.end(), request.begin(), request.end());
    const LightImage image = shown(package, std::move(picture), size, mode);
    const LightImage blurred = blur(image, 1.5);
    std::vector<std::size_t> middle;
    for (int y = lead + border; y < size.height - border; ++y)
        for (int x = border; x < size.width - border; ++x)
            middle.push_back(std::size_t(y * size.width + x));
    Patch patch{};
    for (const std::size_t pixel : middle)
        patch.mean = patch.mean + (1.0 / double(middle.size())) * image.at(pixel);
    const Vector3 mean = lab_from_light(patch.mean);
    for (const std::size_t pixel : middle)
        patch.grain += ciede2000(lab_from_light(blurred.at(pixel)), mean) / double(middle.size());
    return patch;
}

/// A colour of a picture, and the light that the panel should show.
struct Request {
    RgbBytes bytes;
    Vector3 light;
};

/// Any bytes whose light can be shown.
std::vector<Request> requests_at_bytes(const Characterisation &panel) {
    std::mt19937 random(8);
    std::vector<Request> requests;
    for (int tries = 0; requests.size() < 256 && tries < 1000000; ++tries) {
        RgbBytes bytes{};
        for (std::uint8_t &byte : bytes)
            byte = static_cast<std::uint8_t>(random() & 255);
        const Vector3 light = light_from_srgb(to_vector(bytes));
        if (panel.holds(light))
            requests.push_back({bytes, light});
    }
    return requests;
}

void print_patches(const char *name, const Bytes &package, const std::vector<Request> &requests) {
    std::printf("\n%s, CIEDE2000 mean / 95th percentile / largest, and grain\n", name);
    for (int mode = 0; mode < int(dithering_modes); ++mode) {
        std::vector<double> misses;
        double grain = 0;
        for (const Request &request : requests) {
            const Patch patch = show_patch(package, request.bytes, mode);
            misses.push_back(ciede2000(lab_from_light(patch.mean), lab_from_light(request.light)));
            grain += patch.grain / double(requests.size());
        }
        const DifferenceSummary all = summarise(misses);
        std::printf("  %-18s %5.2f %5.2f %5.2f   grain %.2f\n",
                    dither_names[std::size_t(mode)].c_str(), all.mean, all.percentile95,
                    all.largest, grain);
    }
}

/// Of the package for each kernel, what a user sees of greys and of flat colours.
void print_greys(const Characterisation &panel, Tuning tuning) {
    const clock_t start = std::clock();
    const BuiltTables tables = build_tables(panel, {.tuning = tuning});
    const double seconds = double(std::clock() - start) / CLOCKS_PER_SEC;
    const auto figures = judge_greys(panel, GamutMapping(panel, Intent::perceptual), tables);
    for (std::size_t mode = 0; mode < dithering_modes; ++mode)
        if (tuning == Tuning::all || tuning == tuning_for(int(mode)))
            std::printf("  --tune %-7s %-18s step back %5.2f  jump %5.2f  cast %5.2f  (built in "
                        "%.2f s)\n",
                        tuning_names()[std::size_t(tuning)].c_str(), dither_names[mode].c_str(),
                        figures[mode].step_back, figures[mode].jump, figures[mode].cast, seconds);
}

struct PhotoFigures {
    double mean = 0;
    double percentile95 = 0;
    double detail = 0; // correlation of fine lightness detail
};

std::vector<double> lightness_detail(const LightImage &image, const Vector3 &white) {
    const std::vector<Vector3> near = lab_of(blur(image, 2.5), white);
    const std::vector<Vector3> far = lab_of(blur(image, 20), white);
    std::vector<double> detail;
    for (std::size_t i = 0; i < near.size(); ++i)
        detail.push_back(near[i][0] - far[i][0]);
    return detail;
}

double correlation(const std::vector<double> &a, const std::vector<double> &b) {
    const auto mean = [](const std::vector<double> &v) {
        double sum = 0;
        for (const double x : v)
            sum += x;
        return sum / double(v.size());
    };
    const double mean_a = mean(a);
    const double mean_b = mean(b);
    double ab = 0;
    double aa = 0;
    double bb = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        ab += (a[i] - mean_a) * (b[i] - mean_b);
        aa += (a[i] - mean_a) * (a[i] - mean_a);
        bb += (b[i] - mean_b) * (b[i] - mean_b);
    }
    return ab / std::sqrt(aa * bb);
}

class Photo {
  public:
    explicit Photo(const std::string &path) {
        ImageSize whole = picture_size(path, {});
        const double scale = std::min(1.0, 800.0 / std::max(whole.width, whole.height));
        size_ = {int(whole.width * scale), int(whole.height * scale)};
        bytes_ = bytes_of(load_picture(path, size_, {.fit = Fit::stretch}));
        const LightImage image = light_of(bytes_, size_);
        lab_ = lab_of(blur(image, 2.5), {1, 1, 1});
        detail_ = lightness_detail(image, {1, 1, 1});
    }

    PhotoFigures judge(const LightImage &image, const Vector3 &paper) const {
        const std::vector<Vector3> lab = lab_of(blur(image, 2.5), paper);
        std::vector<double> misses;
        for (std::size_t i = 0; i < lab.size(); i += 3)
            misses.push_back(ciede2000(lab[i], lab_[i]));
        const DifferenceSummary all = summarise(misses);
        return {all.mean, all.percentile95, correlation(detail_, lightness_detail(image, paper))};
    }

    PhotoFigures judge_rendering(const Bytes &package, int mode, const Vector3 &paper) const {
        return judge(shown(package, bytes_, size_, mode), paper);
    }

    /// Of the mapped colours without the dithering.
    PhotoFigures judge_mapping(const std::vector<Vector3> &targets, const Vector3 &paper) const {
        LightImage image{size_, {}};
        for (std::size_t i = 0; i < bytes_.size(); i += 3)
            for (const double channel : targets[std::size_t(
                     bytes_[i] >> 2 << 12 | bytes_[i + 1] >> 2 << 6 | bytes_[i + 2] >> 2)])
                image.values.push_back(float(channel));
        return judge(image, paper);
    }

  private:
    ImageSize size_;
    Bytes bytes_;
    std::vector<Vector3> lab_;
    std::vector<double> detail_;
};

/// Nothing mapped, the palette colour nearest in sRGB: what general tools do.
Bytes general_package(const std::vector<PanelColour> &colours) {
    BuiltTables tables;
    for_each_cell([&](std::size_t red, std::size_t green, std::size_t blue) {
        const Vector3 middle = {middle_byte(red), middle_byte(green), middle_byte(blue)};
        const RgbBytes bytes = to_bytes(middle);
        tables.gamut.insert(tables.gamut.end(), bytes.begin(), bytes.end());
        const auto nearest = std::min_element(
            colours.begin(), colours.end(), [&](const PanelColour &a, const PanelColour &b) {
                return squared_distance(to_vector(a.rgb), middle) <
                       squared_distance(to_vector(b.rgb), middle);
            });
        tables.quantisation.push_back(static_cast<std::uint8_t>(nearest - colours.begin()));
    });
    return assemble_package(colours, tables);
}

template <class Judge>
void print_photos(const std::string &name, const std::vector<Photo> &photos, bool each,
                  Judge judge) {
    PhotoFigures mean;
    std::string list;
    for (const Photo &photo : photos) {
        const PhotoFigures figures = judge(photo);
        const double share = 1.0 / double(photos.size());
        mean.mean += share * figures.mean;
        mean.percentile95 += share * figures.percentile95;
        mean.detail += share * figures.detail;
        char text[40];
        std::snprintf(text, sizeof text, " %.1f/%.1f", figures.mean, figures.percentile95);
        list += text;
    }
    std::printf("  %-28s %5.2f %5.2f   %.3f %s\n", name.c_str(), mean.mean, mean.percentile95,
                mean.detail, each ? list.c_str() : "");
}

/// Three stripes of flat colours from dark to light for each tuning: what Floyd and Steinberg's
/// diffusion shows, what was wanted, what Jarvis, Judice and Ninke's shows.
Bytes tuning_sheet(const std::string &file, const std::vector<PanelColour> &colours) {
    constexpr int columns = 16;
    constexpr int stripe = 22, column_width = 40, gap = 14;
    std::vector<Request> requests = requests_at_bytes(Characterisation(palette_of(colours)));
    std::sort(requests.begin(), requests.end(), [](const Request &a, const Request &b) {
        return lab_from_light(a.light)[0] < lab_from_light(b.light)[0];
    });
    const int tunings = int(tuning_names().size());
    const ImageSize size{columns * column_width, tunings * (3 * stripe + gap) - gap};
    Bytes sheet(3 * size.pixels(), 255);
    for (int tuning = 0; tuning < tunings; ++tuning) {
        const Bytes package =
            build_package(colours, {.intent = Intent::absolute, .tuning = Tuning(tuning)});
        for (int column = 0; column < columns; ++column) {
            const Request &request = requests[requests.size() * std::size_t(column) / columns];
            const Vector3 lights[] = {show_patch(package, request.bytes, DITHER_FLOYD).mean,
                                      request.light,
                                      show_patch(package, request.bytes, DITHER_JJN).mean};
            for (int y = 0; y < 3 * stripe; ++y) {
                const RgbBytes rgb = to_bytes(srgb_from_light(lights[y / stripe]));
                const int row = tuning * (3 * stripe + gap) + y;
                for (int x = column * column_width; x < (column + 1) * column_width; ++x)
                    std::copy(rgb.begin(), rgb.end(),
                              sheet.begin() + 3 * (std::ptrdiff_t(row) * size.width + x));
            }
        }
    }
    return encode_png(file, sheet, size);
}

void write_pictures(const std::string &folder, const std::vector<PanelColour> &colours,
                    const std::string &path) {
    constexpr ImageSize size{400, 300};
    const Bytes picture = bytes_of(load_picture(path, size, {}));
    OutputFiles outputs;
    const auto write = [&](const std::string &name, const Bytes &package) {
        adopt_package(name, package);
        const std::string file = folder + "/" + name + ".png";
        outputs.write(
            file,
            encode_png(file, render(name, picture, size, DITHER_FLOYD_SERPENTINE).measured, size));
    };
    write("colour-general", general_package(colours));
    for (std::size_t intent = 0; intent < intent_names().size(); ++intent)
        write("colour-" + intent_names()[intent],
              build_package(colours, {.intent = Intent(intent)}));
    const std::string sheet = folder + "/colour-tunings.png";
    outputs.write(sheet, tuning_sheet(sheet, colours));
    outputs.publish();
}

void run(int argc, char **argv) {
    const PanelDescription description = read_panel_description(argv[1]);
    const std::vector<PanelColour> &colours = description.colours;
    const Characterisation panel(palette_of(colours));
    const Vector3 paper = panel.lights()[panel.white()];
    std::printf("%s: %zu colours, gamut %.0f cubic CIELAB units\n", description.name.c_str(),
                colours.size(), panel.lab_volume());

    const Bytes general = general_package(colours);
    const std::vector<Request> requests = requests_at_bytes(panel);
    if (!requests.empty()) {
        print_patches("Reachable patches of any bytes, general tools", general, requests);
        for (std::size_t tuning = 0; tuning < tunings; ++tuning)
            print_patches(
                ("Reachable patches of any bytes, absolute, --tune " + tuning_names()[tuning])
                    .c_str(),
                build_package(colours, {.intent = Intent::absolute, .tuning = Tuning(tuning)}),
                requests);
    }
    std::printf("\nGreys of perceptual, relative to paper: L* and CIEDE2000\n");
    for (std::size_t tuning = 0; tuning < tunings; ++tuning)
        print_greys(panel, Tuning(tuning));

    if (argc < 3)
        return;
    const std::vector<Photo> photos(argv + 2, argv + argc);
    std::printf("\nPhotographs, relative to paper, CIEDE2000 mean / 95th percentile, and "
                "correlation of lightness detail\n");
    print_photos("general tools", photos, true, [&](const Photo &photo) {
        return photo.judge_rendering(general, DITHER_FLOYD_SERPENTINE, paper);
    });
    for (const Intent intent : {Intent::perceptual, Intent::vivid, Intent::absolute}) {
        const std::string &name = intent_names()[std::size_t(intent)];
        const Bytes package = build_package(colours, {.intent = intent});
        const std::vector<Vector3> targets = GamutMapping(panel, intent).map_cells();
        print_photos(name + ", mapped only", photos, false,
                     [&](const Photo &photo) { return photo.judge_mapping(targets, paper); });
        for (int mode = 0; mode < int(dithering_modes); ++mode)
            if (intent == Intent::perceptual || mode == DITHER_FLOYD_SERPENTINE)
                print_photos(name + ", " + dither_names[std::size_t(mode)], photos,
                             mode == DITHER_FLOYD_SERPENTINE, [&](const Photo &photo) {
                                 return photo.judge_rendering(package, mode, paper);
                             });
    }
}

} // namespace

int main(int argc, char **argv) {
    const bool pictures = argc == 5 && std::string(argv[1]) == "--pictures";
    if (argc < 2 || (argv[1][0] == '-' && !pictures)) {
        std::fprintf(stderr, "usage: colour_quality PANEL.json [PICTURE ...]\n"
                             "       colour_quality --pictures FOLDER PANEL.json PICTURE\n");
        return 2;
    }
    try {
        start_vips();
        if (pictures)
            write_pictures(argv[2], read_panel_description(argv[3]).colours, argv[4]);
        else
            run(argc, argv);
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "colour_quality: %s\n", error.what());
        return 1;
    }
}
