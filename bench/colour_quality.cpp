// Prints how true a panel's packages are to colour: on flat patches, on a grey ramp and on
// photographs, beside what general tools do, which dither sRGB straight to the measured colours.
//
//   colour_quality PANEL.json [PICTURE ...]
//   colour_quality --pictures FOLDER PANEL.json PICTURE    writes what they make of a picture
//
// All pictures are rendered by the library and judged by the light that leaves the panel.

#include "base/files.h"
#include "decoder/vips_session.h"
#include "package_builder/cells.h"
#include "package_builder/colour_difference.h"
#include "pictures/decoder_process.h"
#include "pictures/picture.h"
#include "pictures/picture_files.h"
#include "render/library.h"
#include "renderer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <random>

using namespace oxel::tools;

namespace {

Renderer renderer_of(const Bytes &package) {
    return Renderer(panel_from_bytes("package", package));
}

/// The middle of a flat patch.
struct Patch {
    Vector3 mean;
    double grain; // mean CIEDE2000 to the mean after a blur of 1.5 pixels
};

Patch show_patch(const Renderer &renderer, const RgbBytes &request) {
    constexpr ImageSize size{96, 96};
    constexpr int border = 16;
    const LightImage image = renderer.see(flat(to_vector(request), size), size);
    const LightImage blurred = blur(image, 1.5);
    constexpr Box middle{border, border, {size.width - 2 * border, size.height - 2 * border}};
    Patch patch{mean_light(image, middle), 0};
    const Vector3 mean = lab_from_light(patch.mean);
    for (int y = border; y < size.height - border; ++y)
        for (int x = border; x < size.width - border; ++x)
            patch.grain +=
                ciede2000(lab_from_light(blurred.at(std::size_t(y) * std::size_t(size.width) +
                                                    std::size_t(x))),
                          mean) /
                double(middle.size.pixels());
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
    Renderer renderer = renderer_of(package);
    for (int mode = 0; mode < int(dithering_modes); ++mode) {
        renderer.mode = mode;
        std::vector<double> misses;
        double grain = 0;
        for (const Request &request : requests) {
            const Patch patch = show_patch(renderer, request.bytes);
            misses.push_back(ciede2000(lab_from_light(patch.mean), lab_from_light(request.light)));
            grain += patch.grain / double(requests.size());
        }
        const DifferenceSummary all = summarise(misses);
        std::printf("  %-18s %5.2f %5.2f %5.2f   grain %.2f\n",
                    dither_names[std::size_t(mode)].c_str(), all.mean, all.percentile95,
                    all.largest, grain);
    }
}

/// Of the package for each kernel, what a user sees of greys.
void print_greys(const std::vector<PanelColour> &colours, Tuning tuning) {
    const clock_t start = std::clock();
    Renderer renderer = renderer_of(build_package(colours, {.tuning = tuning}));
    const double seconds = double(std::clock() - start) / CLOCKS_PER_SEC;
    for (int mode = 0; mode < int(dithering_modes); ++mode)
        if (tuning == Tuning::all || tuning == tuning_for(mode)) {
            renderer.mode = mode;
            const RampFigures figures = renderer.see_greys();
            std::printf("  --tune %-7s %-18s step back %5.2f  jump %5.2f  cast %5.2f  (built in "
                        "%.2f s)\n",
                        tuning_names()[std::size_t(tuning)].c_str(),
                        dither_names[std::size_t(mode)].c_str(), figures.step_back, figures.jump,
                        figures.cast, seconds);
        }
}

struct PhotoFigures {
    double mean = 0;
    double percentile95 = 0;
    double detail = 0; // correlation of fine lightness detail
};

class Photo {
  public:
    explicit Photo(const std::string &path) {
        ImageSize whole = picture_size(path, {});
        const double scale = std::min(1.0, 800.0 / std::max(whole.width, whole.height));
        size_ = {int(whole.width * scale), int(whole.height * scale)};
        light_ = load_picture(path, size_, {.fit = Fit::stretch});
        const LightImage image = seen_image(light_, size_);
        lab_ = lab_of(blur(image, 2.5), {1, 1, 1});
        detail_ = lightness_detail(image, {1, 1, 1});
    }

    PhotoFigures judge(const LightImage &image, const Vector3 &paper) const {
        const std::vector<Vector3> lab = lab_of(blur(image, 2.5), paper);
        std::vector<double> misses;
        for (std::size_t i = 0; i < lab.size(); i += 3)
            misses.push_back(ciede2000(lab[i], lab_[i]));
        const DifferenceSummary all = summarise(misses);
        return {all.mean, all.percentile95,
                survival(detail_, lightness_detail(image, paper)).correlation};
    }

    PhotoFigures judge_rendering(const Renderer &renderer) const {
        return judge(renderer.see(light_, size_), renderer.paper());
    }

    /// Of the mapped colours without the dithering.
    PhotoFigures judge_mapping(const std::vector<Vector3> &targets, const Vector3 &paper) const {
        LightImage image{size_, {}};
        const std::vector<std::uint8_t> bytes = bytes_of(light_);
        for (std::size_t i = 0; i < bytes.size(); i += 3)
            for (const double channel : targets[std::size_t(
                     bytes[i] >> 2 << 12 | bytes[i + 1] >> 2 << 6 | bytes[i + 2] >> 2)])
                image.values.push_back(float(channel));
        return judge(image, paper);
    }

  private:
    ImageSize size_;
    Light light_;
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
        Renderer floyd = renderer_of(package), jjn = renderer_of(package);
        jjn.mode = DITHER_JJN;
        for (int column = 0; column < columns; ++column) {
            const Request &request = requests[requests.size() * std::size_t(column) / columns];
            const Vector3 lights[] = {floyd.see_patch(to_vector(request.bytes)), request.light,
                                      jjn.see_patch(to_vector(request.bytes))};
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
    const Light picture = load_picture(path, size, {});
    OutputFiles outputs;
    const auto write = [&](const std::string &name, const Bytes &package, bool prepared) {
        Renderer renderer = renderer_of(package);
        renderer.prepared = prepared;
        const std::string file = folder + "/" + name + ".png";
        outputs.write(file, encode_png(file, renderer.show(picture, size), size));
    };
    write("colour-general", general_package(colours), false);
    for (std::size_t intent = 0; intent < intent_names().size(); ++intent)
        write("colour-" + intent_names()[intent],
              build_package(colours, {.intent = Intent(intent), .tuning = Tuning::floyd}), true);
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
        print_greys(colours, Tuning(tuning));

    if (argc < 3)
        return;
    const std::vector<Photo> photos(argv + 2, argv + argc);
    std::printf("\nPhotographs, relative to paper, CIEDE2000 mean / 95th percentile, and "
                "correlation of lightness detail\n");
    print_photos("general tools", photos, true,
                 [&](const Photo &photo) { return photo.judge_rendering(renderer_of(general)); });
    for (const Intent intent : {Intent::perceptual, Intent::vivid, Intent::absolute}) {
        const std::string &name = intent_names()[std::size_t(intent)];
        const std::vector<Vector3> targets = GamutMapping(panel, intent).map_cells();
        print_photos(name + ", mapped only", photos, false,
                     [&](const Photo &photo) { return photo.judge_mapping(targets, paper); });
        for (int mode = DITHER_FLOYD; mode < int(dithering_modes); ++mode)
            if (intent == Intent::perceptual || mode == DITHER_FLOYD_SERPENTINE) {
                Renderer renderer = renderer_of(
                    build_package(colours, {.intent = intent, .tuning = tuning_for(mode)}));
                renderer.mode = mode;
                print_photos(name + ", " + dither_names[std::size_t(mode)], photos,
                             mode == DITHER_FLOYD_SERPENTINE,
                             [&](const Photo &photo) { return photo.judge_rendering(renderer); });
            }
    }
}

} // namespace

int main(int argc, char **argv) {
    decode_with(OXEL_DECODER);
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
