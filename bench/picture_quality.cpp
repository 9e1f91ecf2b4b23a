// Prints what a panel makes of pictures, given to the library as they are and prepared: bands in
// gradients, the first rows, text, dark hair and photographs.
//
//   picture_quality PANEL.json [PICTURE ...]
//
// The first picture should show dark hair. All is judged by the light that leaves the panel.

#include "Oxel_Morvel6_render.h"
#include "base/failure.h"
#include "decoder/vips_session.h"
#include "package_builder/colour_difference.h"
#include "package_builder/noted_options.h"
#include "pictures/decoder_process.h"
#include "pictures/picture.h"
#include "render/library.h"
#include "renderer.h"

#include <vips/vips8>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numeric>

using namespace oxel::tools;

namespace {

double mean(const std::vector<double> &values) {
    return std::accumulate(values.begin(), values.end(), 0.0) / double(values.size());
}

/// What is left of a profile after the polynomial of degree 7 that is nearest to it.
std::vector<double> less_trend(const std::vector<double> &profile) {
    constexpr int terms = 8;
    double sums[terms][terms + 1] = {};
    const auto power_at = [&](std::size_t i, int exponent) {
        return std::pow(2.0 * double(i) / double(profile.size() - 1) - 1, exponent);
    };
    for (std::size_t i = 0; i < profile.size(); ++i)
        for (int row = 0; row < terms; ++row) {
            for (int column = 0; column < terms; ++column)
                sums[row][column] += power_at(i, row + column);
            sums[row][terms] += power_at(i, row) * profile[i];
        }
    for (int pivot = 0; pivot < terms; ++pivot)
        for (int row = 0; row < terms; ++row)
            if (row != pivot) {
                const double factor = sums[row][pivot] / sums[pivot][pivot];
                for (int column = pivot; column <= terms; ++column)
                    sums[row][column] -= factor * sums[pivot][column];
            }
    std::vector<double> rest(profile);
    for (std::size_t i = 0; i < rest.size(); ++i)
        for (int row = 0; row < terms; ++row)
            rest[i] -= sums[row][terms] / sums[row][row] * power_at(i, row);
    return rest;
}

/// By how much, in CIELAB, a gradient's course strays from a smooth one: root mean squares.
struct Bands {
    double shown;  // what the panel shows, blurred by 3 pixels
    double wanted; // what the gamut mapping makes of it without a dither, which bends at corners
    double missed; // the one less the other
    double leap;   // the most by which L* misses more, or less, than 8 pixels before
};

/// Of sRGB, from its start to its end.
struct Gradient {
    Vector3 from;
    Vector3 to;
};

/// Where a gradient goes. To the right, each row continues what the one above has settled to; down,
/// a diffusion meets what is new.
enum class Course { right, down };

Bands bands(const Renderer &renderer, const GamutMapping &mapping, const Gradient &gradient,
            Course course) {
    constexpr int border = 16;
    constexpr int length = 512;
    constexpr int breadth = 320;
    const bool right = course == Course::right;
    const ImageSize size = right ? ImageSize{length, breadth} : ImageSize{breadth, length};
    std::vector<Vector3> lights;
    std::vector<Vector3> mapped;
    Vector3 near = mapping.start();
    for (int place = 0; place < length; ++place) {
        lights.push_back(light_from_srgb(gradient.from + double(place) / (length - 1) *
                                                             (gradient.to - gradient.from)));
        mapped.push_back(mapping.map(lights.back(), near));
    }
    Light picture;
    LightImage wanted{size, {}};
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const auto place = std::size_t(right ? x : y);
            for (const double channel : lights[place])
                picture.push_back(std::uint16_t(65535 * channel + 0.5));
            for (const double channel : mapped[place])
                wanted.values.push_back(float(channel));
        }
    using Profiles = std::array<std::vector<double>, 3>;
    const auto profiles_of = [&](const LightImage &image) {
        const LightImage blurred = blur(image, 3);
        Profiles profiles;
        for (int place = border; place < length - border; ++place) {
            constexpr int across = breadth - 2 * border;
            const Box box =
                right ? Box{place, border, {1, across}} : Box{border, place, {across, 1}};
            const Vector3 lab = lab_from_light(mean_light(blurred, box), renderer.paper());
            for (std::size_t c = 0; c < 3; ++c)
                profiles[c].push_back(lab[c]);
        }
        return profiles;
    };
    const auto stray = [](const Profiles &profiles) {
        double squares = 0;
        for (const auto &profile : profiles)
            for (const double rest : less_trend(profile))
                squares += rest * rest / double(profile.size());
        return std::sqrt(squares);
    };
    const Profiles seen = profiles_of(renderer.see(picture, size));
    const Profiles aim = profiles_of(wanted);
    Profiles miss = seen;
    for (std::size_t c = 0; c < 3; ++c)
        std::transform(seen[c].begin(), seen[c].end(), aim[c].begin(), miss[c].begin(),
                       std::minus<>());
    double leap = 0;
    for (std::size_t place = 8; place < miss[0].size(); ++place)
        leap = std::max(leap, std::abs(miss[0][place] - miss[0][place - 8]));
    return {stray(seen), stray(aim), stray(miss), leap};
}

/// How far the first 16 rows lie, in L*, outside of what any 16 rows further down show, over flat
/// colours: the largest.
double first_rows(const Renderer &renderer) {
    constexpr ImageSize size{800, 320};
    constexpr int rows = 16;
    double largest = 0;
    for (const Vector3 &srgb : {Vector3{24, 24, 24},
                                {40, 40, 48},
                                {60, 30, 30},
                                {20, 40, 60},
                                {90, 90, 90},
                                {128, 128, 128},
                                {200, 200, 200},
                                {240, 240, 240}}) {
        const LightImage image = renderer.see(flat(srgb, size), size);
        const auto lightness = [&](int top) {
            return lab_from_light(mean_light(image, {0, top, {size.width, rows}}),
                                  renderer.paper())[0];
        };
        double least = 100;
        double most = 0;
        for (int top = size.height / 2; top < size.height; top += rows) {
            least = std::min(least, lightness(top));
            most = std::max(most, lightness(top));
        }
        largest = std::max({largest, least - lightness(0), lightness(0) - most});
    }
    return largest;
}

/// The mean CIEDE2000 of flat tones to their means after a blur.
double grain(const Renderer &renderer, double sigma) {
    constexpr ImageSize size{160, 160};
    constexpr int border = 24;
    std::vector<double> strays;
    for (const Vector3 &srgb : {Vector3{61, 62, 63},
                                {122, 123, 126},
                                {190, 189, 188},
                                {225, 226, 224},
                                {205, 155, 130},
                                {120, 150, 190},
                                {90, 60, 50}}) {
        const LightImage image = blur(renderer.see(flat(srgb, size), size), sigma);
        const std::vector<Vector3> lab = lab_of(image, renderer.paper());
        Vector3 sum{};
        std::vector<Vector3> inner;
        for (int y = border; y < size.height - border; ++y)
            for (int x = border; x < size.width - border; ++x) {
                inner.push_back(lab[std::size_t(y) * std::size_t(size.width) + std::size_t(x)]);
                sum = sum + inner.back();
            }
        const Vector3 middle = (1.0 / double(inner.size())) * sum;
        for (const Vector3 &place : inner)
            strays.push_back(ciede2000(place, middle));
    }
    return mean(strays);
}

/// The share of the pixels of black text of 18 pixels on white that are neither black nor white.
double coloured_text(const Renderer &renderer) {
    using vips::VImage;
    const VImage text =
        VImage::text("The quick brown fox jumps over the lazy dog 0123456789\nPack my box with "
                     "five dozen liquor jugs, Quixote said.",
                     VImage::option()->set("font", "DejaVu Sans 13.5")->set("dpi", 96));
    const VImage page = text.embed(8, 8, text.width() + 16, text.height() + 16)
                            .invert()
                            .colourspace(VIPS_INTERPRETATION_sRGB);
    const ImageSize size{page.width(), page.height()};
    std::size_t count = 0;
    void *memory = page.write_to_memory(&count);
    const Bytes bytes = take_vips_memory(memory, count);
    Light picture(bytes.size());
    light_of_bytes(bytes, picture);
    const Bytes shown = renderer.show(picture, size);
    std::size_t ink = 0;
    std::size_t coloured = 0;
    for (std::size_t i = 0; i < shown.size(); i += 3) {
        if (bytes[i] == 255)
            continue;
        ++ink;
        const int spread = std::max({shown[i], shown[i + 1], shown[i + 2]}) -
                           std::min({shown[i], shown[i + 1], shown[i + 2]});
        coloured += spread > 20 ? 1 : 0;
    }
    return 100.0 * double(coloured) / double(std::max<std::size_t>(ink, 1));
}

/// Chances in 10,000 that a pixel of a dark place (below L* 15 of the photograph, blurred by 2.5
/// pixels) is of a light ink, of L* above 70: a dot that the eye sees. Where a panel has dark
/// inks of red, green and blue, shadows are to be mixed of those.
double specks(const Renderer &renderer, const Light &photo, ImageSize size) {
    const std::vector<float> dark = lightness_of(blur(seen_image(photo, size), 2.5), {1, 1, 1});
    const std::vector<Vector3> shown = lab_of(renderer.see(photo, size), renderer.paper());
    double places = 0;
    double found = 0;
    for (std::size_t i = 0; i < dark.size(); ++i)
        if (dark[i] < 15) {
            ++places;
            found += shown[i][0] > 70 ? 1 : 0;
        }
    return places > 0 ? 10000 * found / places : 0;
}

struct PhotoFigures {
    double mean = 0;
    double percentile95 = 0;
    double scielab = 0;
    double ssim = 0;
    double detail = 0; // correlation of fine lightness detail
    double gain = 0;   // of its regression
};

/// CIELAB of what an eye resolves at 46 pixels a degree (150 an inch at 45 cm): Zhang and Wandell,
/// "A spatial extension of CIELAB for digital color image reproduction", 1996.
std::vector<Vector3> spatial_lab(const LightImage &image, const Vector3 &white) {
    constexpr double pixels_per_degree = 46;
    constexpr Matrix3 xyz_from_rgb = {{{0.4124564, 0.3575761, 0.1804375},
                                       {0.2126729, 0.7151522, 0.0721750},
                                       {0.0193339, 0.1191920, 0.9503041}}};
    constexpr Matrix3 rgb_from_xyz = {{{3.2404542, -1.5371385, -0.4985314},
                                       {-0.9692660, 1.8760108, 0.0415560},
                                       {0.0556434, -0.2040259, 1.0572252}}};
    constexpr Matrix3 opponents_from_xyz = {
        {{0.279, 0.72, -0.107}, {-0.449, 0.29, -0.077}, {0.086, -0.59, 0.501}}};
    constexpr Matrix3 xyz_from_opponents = {
        {{0.62655, -1.86718, -0.15315}, {1.36986, 0.93476, 0.43623}, {1.50571, 1.42133, 2.53604}}};
    struct Part {
        double weight;
        double spread; // degrees, of exp(-r^2 / spread^2)
    };
    const std::vector<Part> filters[] = {{{0.921, 0.0283}, {0.105, 0.133}, {-0.108, 4.336}},
                                         {{0.531, 0.0392}, {0.330, 0.494}},
                                         {{0.488, 0.0536}, {0.371, 0.386}}};
    std::array<std::vector<float>, 3> planes;
    for (std::size_t i = 0; i < image.size.pixels(); ++i) {
        const Vector3 opponents = opponents_from_xyz * (xyz_from_rgb * image.at(i));
        for (std::size_t c = 0; c < 3; ++c)
            planes[c].push_back(float(opponents[c]));
    }
    std::array<std::vector<float>, 3> filtered;
    for (std::size_t c = 0; c < 3; ++c) {
        double total = 0;
        for (const Part &part : filters[c])
            total += part.weight;
        filtered[c].resize(planes[c].size());
        for (const Part &part : filters[c]) {
            const double sigma = std::min(part.spread * pixels_per_degree / std::sqrt(2.0), 60.0);
            const std::vector<float> blurred = gaussian(planes[c], image.size, 1, sigma);
            for (std::size_t i = 0; i < blurred.size(); ++i)
                filtered[c][i] += float(part.weight / total) * blurred[i];
        }
    }
    LightImage seen{image.size, {}};
    for (std::size_t i = 0; i < image.size.pixels(); ++i) {
        const Vector3 light =
            rgb_from_xyz *
            (xyz_from_opponents * Vector3{filtered[0][i], filtered[1][i], filtered[2][i]});
        for (const double channel : light)
            seen.values.push_back(float(channel));
    }
    return lab_of(seen, white);
}

/// Wang, Bovik, Sheikh and Simoncelli, 2004, with its Gaussian window of 1.5 pixels.
double ssim(const std::vector<float> &a, const std::vector<float> &b, ImageSize size) {
    const auto product = [](const std::vector<float> &x, const std::vector<float> &y) {
        std::vector<float> result(x.size());
        std::transform(x.begin(), x.end(), y.begin(), result.begin(), std::multiplies<>());
        return result;
    };
    const auto window = [&](const std::vector<float> &x) { return gaussian(x, size, 1, 1.5); };
    const auto mean_a = window(a), mean_b = window(b);
    const auto aa = window(product(a, a)), bb = window(product(b, b)), ab = window(product(a, b));
    constexpr double c1 = 1, c2 = 9; // (0.01 x 100)^2 and (0.03 x 100)^2
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double ma = mean_a[i], mb = mean_b[i];
        sum += (2 * ma * mb + c1) * (2 * (ab[i] - ma * mb) + c2) /
               ((ma * ma + mb * mb + c1) * (aa[i] - ma * ma + bb[i] - mb * mb + c2));
    }
    return sum / double(a.size());
}

class Photo {
  public:
    explicit Photo(const std::string &path) {
        const ImageSize whole = picture_size(path, {});
        const double scale = 480.0 / std::max(whole.width, whole.height);
        size_ = {int(whole.width * scale), int(whole.height * scale)};
        light_ = load_picture(path, size_, {.fit = Fit::stretch});
        const LightImage image = seen_image(light_, size_);
        lab_ = lab_of(blur(image, 2.5), {1, 1, 1});
        spatial_lab_ = spatial_lab(image, {1, 1, 1});
        lightness_ = lightness_of(blur(image, 1.5), {1, 1, 1});
        detail_ = lightness_detail(image, {1, 1, 1});
    }

    const Light &light() const { return light_; }
    ImageSize size() const { return size_; }

    PhotoFigures judge(const Renderer &renderer) const {
        const LightImage image = renderer.see(light_, size_);
        const std::vector<Vector3> lab = lab_of(blur(image, 2.5), renderer.paper());
        const std::vector<Vector3> spatial = spatial_lab(image, renderer.paper());
        std::vector<double> misses;
        std::vector<double> spatial_misses;
        for (std::size_t i = 0; i < lab.size(); i += 3) {
            misses.push_back(ciede2000(lab[i], lab_[i]));
            spatial_misses.push_back(std::sqrt(squared_distance(spatial[i], spatial_lab_[i])));
        }
        const DifferenceSummary all = summarise(misses);
        PhotoFigures figures{
            all.mean,
            all.percentile95,
            mean(spatial_misses),
            ssim(lightness_, lightness_of(blur(image, 1.5), renderer.paper()), size_),
            0,
            0};
        const std::vector<double> detail = lightness_detail(image, renderer.paper());
        const Survival survived = survival(detail_, detail);
        figures.detail = survived.correlation;
        figures.gain = survived.gain;
        return figures;
    }

  private:
    ImageSize size_;
    Light light_;
    std::vector<Vector3> lab_;
    std::vector<Vector3> spatial_lab_;
    std::vector<float> lightness_;
    std::vector<double> detail_;
};

void print_photos(const char *name, const Renderer &renderer, const std::vector<Photo> &photos) {
    if (photos.empty())
        return;
    PhotoFigures sum;
    const double share = 1.0 / double(photos.size());
    for (const Photo &photo : photos) {
        const PhotoFigures figures = photo.judge(renderer);
        sum.mean += share * figures.mean;
        sum.percentile95 += share * figures.percentile95;
        sum.scielab += share * figures.scielab;
        sum.ssim += share * figures.ssim;
        sum.detail += share * figures.detail;
        sum.gain += share * figures.gain;
    }
    std::printf("    %s: CIEDE2000 %.2f / %.2f, S-CIELAB %.2f, SSIM %.3f, detail %.3f, gain %.2f\n",
                name, sum.mean, sum.percentile95, sum.scielab, sum.ssim, sum.detail, sum.gain);
    std::fflush(stdout);
}

void print_figures(const Renderer &renderer) {
    const Characterisation panel(palette_of_package(renderer.package()));
    const auto noted = noted_options(renderer.package());
    const GamutMapping mapping(panel, noted ? noted->intent : Intent::absolute);
    const Gradient faint = {{140, 150, 165}, {150, 159, 173}};
    const Gradient sky = {{80, 130, 190}, {190, 212, 232}};
    const Gradient dusk = {{40, 40, 80}, {230, 150, 100}};
    const Gradient skin = {{170, 115, 92}, {232, 190, 165}};
    const Gradient evening = {{18, 58, 122}, {134, 191, 223}};
    std::vector<Bands> found;
    for (const Gradient &gradient : {faint, sky, dusk, skin})
        found.push_back(bands(renderer, mapping, gradient, Course::right));
    std::printf("    bands");
    for (const Bands &one : found)
        std::printf(" %.2f", one.shown);
    std::printf(" (faint, sky, dusk, skin), of the mapping alone");
    for (const Bands &one : found)
        std::printf(" %.2f", one.wanted);
    std::printf(", less that");
    for (const Bands &one : found)
        std::printf(" %.2f", one.missed);
    std::printf("\n    going down, missed and leap of L*:");
    for (const Gradient &gradient : {sky, dusk, skin, evening}) {
        const Bands lighter = bands(renderer, mapping, gradient, Course::down);
        const Bands darker = bands(renderer, mapping, {gradient.to, gradient.from}, Course::down);
        std::printf(" %.2f %.2f / %.2f %.2f", lighter.missed, lighter.leap, darker.missed,
                    darker.leap);
    }
    std::printf(" (sky, dusk, skin, evening; to lighter / to darker)\n");
    std::printf(
        "    first rows %.2f   grain %.2f %.2f (blurred by 1.5, 4)   coloured text %.1f %%\n",
        first_rows(renderer), grain(renderer, 1.5), grain(renderer, 4), coloured_text(renderer));
    const RampFigures greys = renderer.see_greys();
    std::printf("    greys: back %.2f, jump %.2f, cast %.2f\n", greys.step_back, greys.jump,
                greys.cast);
    std::fflush(stdout);
}

void run(const char *panel_name, const std::vector<Photo> &photos) {
    for (const int mode : {DITHER_FLOYD_SERPENTINE, DITHER_JJN_SERPENTINE}) {
        Renderer renderer(open_panel(panel_name, tuning_for(mode)));
        renderer.mode = mode;
        for (const bool prepared : {false, true}) {
            renderer.prepared = prepared;
            std::printf("%s, %s, %s\n", panel_name, dither_names[std::size_t(mode)].c_str(),
                        prepared ? "prepared" : "as it is");
            print_figures(renderer);
            print_photos("photographs", renderer, photos);
            if (!photos.empty())
                std::printf("    specks %.0f\n",
                            specks(renderer, photos[0].light(), photos[0].size()));
        }
    }
    Renderer renderer(open_panel(panel_name, tuning_for(DITHER_FLOYD_SERPENTINE)));
    for (const Development &development :
         {Development{.clarity = 15}, Development{.clarity = 25}, Development{.sharpen = 40}}) {
        renderer.development = development;
        const std::string name = "clarity " + std::to_string(development.clarity) + ", sharpen " +
                                 std::to_string(development.sharpen);
        print_photos(name.c_str(), renderer, photos);
    }
}

} // namespace

int main(int argc, char **argv) {
    decode_with(OXEL_DECODER);
    if (argc < 2 || argv[1][0] == '-') {
        std::fprintf(stderr, "usage: picture_quality PANEL.json [PICTURE ...]\n");
        return 2;
    }
    try {
        start_vips();
        run(argv[1], {argv + 2, argv + argc});
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "picture_quality: %s\n", error.what());
        return 1;
    }
}
