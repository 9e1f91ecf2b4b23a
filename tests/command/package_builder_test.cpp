#include "Oxel_Morvel6_render.h"
#include "package_builder/cells.h"
#include "package_builder/colour_difference.h"
#include "package_builder/kernel_agreement.h"
#include "package_builder/noted_options.h"
#include "package_builder/package_file.h"
#include "package_builder/patch_quality.h"
#include "package_builder/patch_simulation.h"
#include "package_builder/quantisation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <tuple>

using namespace oxel::tools;

namespace {

using Palette = std::vector<RgbBytes>;

Palette random_palette(std::size_t count) {
    std::mt19937 random(1976);
    Palette palette(count);
    for (RgbBytes &rgb : palette)
        for (std::uint8_t &channel : rgb)
            channel = static_cast<std::uint8_t>(random() & 0xFF);
    return palette;
}

const Palette six = {{33, 32, 37},  {165, 168, 162}, {172, 150, 30},
                     {118, 36, 32}, {56, 98, 62},    {40, 74, 120}};

/// Nothing in the builder was tuned on it.
const Palette brighter = {{22, 22, 24},  {212, 214, 210}, {206, 190, 40},
                          {168, 40, 38}, {50, 126, 74},   {46, 82, 160}};

const struct {
    Palette palette;
    int dimension;
} degenerate[] = {
    {{{0, 0, 0}, {255, 255, 255}}, 1},
    {{{200, 200, 200}, {200, 200, 200}}, 0},
    {{{0, 0, 0}, {0, 0, 0}}, 0},
    {{{10, 20, 30}, {10, 20, 30}, {210, 220, 230}, {210, 220, 230}}, 1},
    {{{26, 27, 29}, {190, 191, 188}, {150, 38, 34}}, 2},
    {{{0, 0, 50}, {255, 0, 50}, {0, 255, 50}, {255, 255, 50}}, 2},
    {{{0, 0, 0}, {255, 0, 0}, {255, 0, 0}, {0, 4, 0}, {255, 255, 255}}, 3}, // nearly flat
    {random_palette(256), 3},
};

/// Another way to the nearest point: shifts weight between two points at a time.
Vector3 nearest_by_brute_force(const std::vector<Vector3> &points, const Vector3 &target) {
    Vector3 place = points[0];
    std::vector<double> weights(points.size(), 0);
    weights[0] = 1;
    for (int round = 0; round < 3000; ++round)
        for (std::size_t i = 0; i < points.size(); ++i)
            for (std::size_t j = 0; j < points.size(); ++j) {
                const Vector3 edge = points[j] - points[i];
                const double along = dot(edge, target - place) / (dot(edge, edge) + 1e-30);
                const double step = std::clamp(along, 0.0, weights[i]);
                weights[i] -= step;
                weights[j] += step;
                place = place + step * edge;
            }
    return place;
}

TEST(Characterisation, FindsDimensionInsideAndNearestMixture) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> channel(0, 1);
    for (const auto &[palette, dimension] : degenerate) {
        const Characterisation panel(palette);
        EXPECT_EQ(panel.dimension(), dimension);
        EXPECT_EQ(panel.lab_volume() > 0, dimension == 3);
        for (int i = 0; i < 40 && palette.size() <= 6; ++i) {
            const Vector3 target{channel(random), channel(random), channel(random)};
            const Vector3 nearest = panel.nearest(target).of(panel.corner_lights());
            const Vector3 expected = nearest_by_brute_force(panel.lights(), target);
            EXPECT_LT(squared_distance(nearest, expected), 1e-8) << palette.size() << " colours";
            EXPECT_EQ(panel.holds(target, 1e-6),
                      dimension == 3 && squared_distance(nearest, target) < 1e-14);
        }
    }
}

TEST(ColourDifference, AgreesWithPublishedPairs) {
    const struct {
        Vector3 one, other;
        double difference;
    } pairs[] = {
        {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
        {{50, 0, 0}, {50, -1, 2}, 2.3669},
        {{50, 2.49, -0.001}, {50, -2.49, 0.0009}, 7.1792},
        {{50, 2.49, -0.001}, {50, -2.49, 0.0011}, 7.2195},
        {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
        {{60.2574, -34.0099, 36.2677}, {60.4626, -34.1751, 39.4387}, 1.2644},
        {{2.0776, 0.0795, -1.135}, {0.9033, -0.0636, -0.5514}, 0.9082},
    };
    for (const auto &[one, other, difference] : pairs) {
        EXPECT_NEAR(ciede2000(one, other), difference, 5e-5);
        EXPECT_NEAR(ciede2000(other, one), difference, 5e-5);
    }
}

TEST(ColourSpace, ConversionsUndoEachOther) {
    for (const RgbBytes &rgb : random_palette(256)) {
        const Vector3 light = light_from_srgb(to_vector(rgb));
        EXPECT_LT(squared_distance(light_from_oklab(oklab_from_light(light)), light), 1e-12);
        EXPECT_LT(squared_distance(light_from_srgb(srgb_from_light(light)), light), 1e-20);
        const Vector3 srgb = srgb_from_light(light);
        EXPECT_LT(squared_distance(srgb_from_lab(lab_from_srgb(srgb)), srgb), 1e-4);
        EXPECT_NEAR(cube_root(light[0]), std::cbrt(light[0]), 1e-14);
    }
}

/// What the absolute intent keeps small for clipped colours.
double distance(const Vector3 &light, const Vector3 &target) {
    return std::sqrt(squared_distance(oklab_from_light(light), oklab_from_light(target)));
}

TEST(GamutMapping, KeepsWhatCanBeShownAndClipsToTheNearest) {
    const Characterisation panel(brighter);
    const GamutMapping absolute(panel, Intent::absolute);
    std::mt19937 random(3);
    std::uniform_real_distribution<double> uniform(0, 1);
    Vector3 near = absolute.start();
    for (int i = 0; i < 300; ++i) {
        const Vector3 source{uniform(random), uniform(random), uniform(random)};
        const Vector3 mapped = absolute.map(source, near);
        if (panel.holds(source)) {
            EXPECT_EQ(mapped, source);
            continue;
        }
        EXPECT_LT(squared_distance(panel.nearest(mapped).of(panel.corner_lights()), mapped), 1e-10);
        for (int other = 0; other < 200; ++other) {
            const Vector3 elsewhere =
                mapped + std::pow(uniform(random), 3) *
                             (panel.lights()[random() % brighter.size()] - mapped);
            EXPECT_GT(distance(elsewhere, source), distance(mapped, source) - 1e-3);
        }
    }
    for (const Intent intent : {Intent::perceptual, Intent::vivid}) {
        const std::vector<Vector3> cells = GamutMapping(panel, intent).map_cells();
        EXPECT_LT(squared_distance(cells.front(), panel.lights()[panel.black()]), 1e-20);
        EXPECT_LT(squared_distance(cells.back(), panel.lights()[panel.white()]), 1e-20);
    }
}

/// What an intent makes of a sample of all colours, on average, in OKLab.
struct Averages {
    double chroma = 0, lightness_change = 0, distance = 0, turn = 0; // of the hue, in radians
};

Averages averages_of(const Characterisation &panel, const GamutMapping &mapping) {
    Averages sums;
    Vector3 near = mapping.start();
    double samples = 0, coloured = 0;
    for (std::size_t cell = 0; cell < package_cells; cell += 53, ++samples) {
        const auto step = [&](int shift) { return double(cell >> shift & 63) * 255 / 63; };
        const Vector3 light = light_from_srgb({step(12), step(6), step(0)});
        const Vector3 shown = mapping.map(light, near);
        EXPECT_LT(squared_distance(panel.nearest(shown).of(panel.corner_lights()), shown), 1e-10);
        const Vector3 source = oklab_from_light(light), mapped = oklab_from_light(shown);
        const double chroma = std::hypot(mapped[1], mapped[2]);
        sums.chroma += chroma;
        sums.lightness_change += std::abs(mapped[0] - source[0]);
        sums.distance += distance(shown, light);
        if (std::hypot(source[1], source[2]) < 0.08 || chroma < 0.03)
            continue;
        ++coloured;
        sums.turn += std::abs(
            std::remainder(std::atan2(mapped[2], mapped[1]) - std::atan2(source[2], source[1]),
                           2 * std::acos(-1.0)));
    }
    return {sums.chroma / samples, sums.lightness_change / samples, sums.distance / samples,
            sums.turn / coloured};
}

TEST(GamutMapping, EachIntentKeepsWhatItIsFor) {
    for (const Palette &palette :
         {six, brighter, degenerate[4].palette, Palette{{20, 20, 20}, {230, 230, 230}}}) {
        const Characterisation panel(palette);
        std::vector<Averages> intents;
        for (const Intent intent : {Intent::perceptual, Intent::vivid, Intent::absolute}) {
            const GamutMapping mapping(panel, intent);
            Vector3 near = mapping.start();
            double lightness = 0;
            for (int grey = 0; grey < 256; ++grey) {
                const Vector3 light = light_from_srgb({double(grey), double(grey), double(grey)});
                const double next = oklab_from_light(mapping.map(light, near))[0];
                EXPECT_GE(next, lightness - 1e-7) << "a lighter grey is darker, " << grey;
                lightness = next;
            }
            intents.push_back(averages_of(panel, mapping));
        }
        const auto &[perceptual, vivid, absolute] = std::tie(intents[0], intents[1], intents[2]);
        EXPECT_LT(absolute.distance, 0.95 * perceptual.distance);
        EXPECT_LT(absolute.lightness_change, 0.5 * perceptual.lightness_change);
        if (panel.dimension() == 3) {
            EXPECT_GT(vivid.chroma, 1.05 * perceptual.chroma);
            EXPECT_GT(vivid.lightness_change, 1.05 * perceptual.lightness_change);
            EXPECT_GT(absolute.turn, 1.5 * perceptual.turn) << "hues stay";
        }
    }
}

std::vector<std::uint8_t> quantisation_table(const Characterisation &panel) {
    const Quantiser quantiser(panel);
    return quantiser.table(quantiser.own_sites());
}

TEST(Quantisation, UsesEachCornerOfTheGamut) {
    Palette seven = brighter, sixteen = random_palette(16);
    seven.push_back({214, 110, 40});
    const Palette two{{20, 20, 20}, {230, 230, 230}},
        four{{9, 9, 9}, {240, 240, 240}, {200, 30, 30}, {30, 60, 180}};
    std::vector<Palette> palettes{two, four, seven, sixteen};
    for (const auto &[palette, dimension] : degenerate)
        palettes.push_back(palette);
    for (const Palette &palette : palettes) {
        const Characterisation panel(palette);
        std::vector<int> uses(palette.size());
        for (const std::uint8_t index : quantisation_table(panel)) {
            ASSERT_LT(index, palette.size());
            ++uses[index];
        }
        for (std::size_t corner = 0; corner < panel.corner_lights().size(); ++corner)
            EXPECT_GT(uses[panel.corner_index(corner)], 0)
                << palette.size() << " colours, " << panel.corner_index(corner);
    }
}

TEST(Quantisation, GivesEachPaletteColourToItself) {
    for (const Palette &palette : {six, brighter}) {
        const Characterisation panel(palette);
        const Quantiser quantiser(panel);
        const auto table = quantiser.table(agreeing_sites(panel, quantiser, [](double) {}));
        for (std::size_t i = 0; i < palette.size(); ++i) {
            const auto &[r, g, b] = palette[i];
            EXPECT_EQ(table[std::size_t((r >> 2) * 4096 + (g >> 2) * 64 + (b >> 2))], i);
        }
    }
}

std::vector<PanelColour> panel_colours(const Palette &palette) {
    std::vector<PanelColour> colours;
    for (const RgbBytes &rgb : palette)
        colours.push_back({rgb, static_cast<std::uint8_t>(200 - colours.size())});
    return colours;
}

/// A flat patch as the library renders it, in measured colours.
std::vector<std::uint8_t> render_flat(const std::vector<std::uint8_t> &package, const RgbBytes &rgb,
                                      int size, std::uint32_t mode) {
    std::vector<std::uint8_t> image;
    for (int pixel = 0; pixel < size * size; ++pixel)
        image.insert(image.end(), rgb.begin(), rgb.end());
    EXPECT_EQ(Oxel_Morvel6_render_init(package.data(), std::uint32_t(package.size())),
              OXEL_SUCCESS);
    EXPECT_EQ(Oxel_Morvel6_render(image.data(), ORDER_RGB, image.data(), ORDER_RGB, size, size,
                                  mode, OUTPUT_EO_RGB),
              OXEL_SUCCESS);
    return image;
}

TEST(PatchSimulation, DiffusesLikeTheLibrary) {
    const Palette palette = random_palette(9);
    const Characterisation panel(palette);
    std::mt19937 random(7);
    BuiltTables tables;
    for (std::size_t cell = 0; cell < package_cells; ++cell) {
        tables.quantisation.push_back(static_cast<std::uint8_t>(random() % palette.size()));
        for (int channel = 0; channel < 3; ++channel)
            tables.gamut.push_back(static_cast<std::uint8_t>(random() & 255));
    }
    const auto package = assemble_package(panel_colours(palette), tables);
    std::vector<DitheredBytes> mapped;
    for (std::size_t cell = 0; cell < PatchSimulation::lanes - 3; ++cell)
        mapped.emplace_back(RgbBytes{tables.gamut[3 * cell], tables.gamut[3 * cell + 1],
                                     tables.gamut[3 * cell + 2]});
    for (std::uint32_t mode = 0; mode < dithering_modes; ++mode) {
        const std::vector<Vector3> lights =
            PatchSimulation(panel, tables.quantisation)
                .mean_light(int(mode), mapped, {.size = 21, .border = 0});
        for (std::size_t cell = 0; cell < mapped.size(); ++cell) {
            Vector3 sum{};
            const auto image = render_flat(package, {0, 0, std::uint8_t(4 * cell)}, 21, mode);
            for (std::size_t i = 0; i < image.size(); i += 3)
                sum = sum + light_from_srgb(
                                {double(image[i]), double(image[i + 1]), double(image[i + 2])});
            EXPECT_LT(squared_distance(1.0 / (21 * 21) * sum, lights[cell]), 1e-24) << mode;
        }
    }
}

TEST(PatchSimulation, TextureChangesHardlyAnyMean) {
    for (double byte = 20; byte < 200; byte += 0.37) {
        const Vector3 colour{byte, byte + 0.8, byte + 2.3};
        const DitheredBytes plain(colour), textured(colour, 8);
        Vector3 difference{};
        double spread = 0;
        for (std::size_t i = 0; i < DitheredBytes::thresholds; ++i) {
            const Vector3 rise = to_vector(textured.at(i)) - to_vector(plain.at(i));
            difference = difference + rise;
            spread = std::max(spread, rise[0]);
        }
        for (const double sum : difference) // of one threshold that falls on a step, at most
            EXPECT_LE(std::abs(sum) / DitheredBytes::thresholds, 0.25) << byte;
        EXPECT_EQ(spread, 16);
    }
}

TEST(PackageBuilder, MakesPackagesThatRenderBlackAndWhiteInPureInk) {
    for (const auto &[palette, dimension] : degenerate) {
        const Characterisation panel(palette);
        const auto package = build_package(panel_colours(palette));
        for (const auto &[input, ink] : {std::pair{0, panel.black()}, {255, panel.white()}}) {
            const auto byte = static_cast<std::uint8_t>(input);
            const auto image = render_flat(package, {byte, byte, byte}, 8, DITHER_FLOYD_SERPENTINE);
            for (std::size_t i = 0; i < image.size(); ++i)
                ASSERT_EQ(image[i], palette[ink][i % 3]) << palette.size() << " colours, " << input;
        }
        std::vector<std::uint8_t> codes; // of a picture that has all colours
        for (const RgbBytes &rgb : random_palette(96 * 96))
            codes.insert(codes.end(), rgb.begin(), rgb.end());
        for (std::size_t i = 0; i < codes.size() / 2; ++i) // the extremes in one half
            codes[i] = codes[i] < 128 ? 0 : 255;
        EXPECT_EQ(Oxel_Morvel6_render(codes.data(), ORDER_RGB, codes.data(), ORDER_RGB, 96, 96,
                                      DITHER_JJN, OUTPUT_TCON_CODE),
                  OXEL_SUCCESS);
        const std::set<std::uint8_t> shown(codes.begin(), codes.end());
        std::set<std::uint8_t> known;
        for (const PanelColour &colour : panel_colours(palette))
            known.insert(colour.tcon);
        EXPECT_TRUE(std::includes(known.begin(), known.end(), shown.begin(), shown.end()));
        for (std::size_t corner = 0; palette.size() <= 6 && corner < panel.corner_lights().size();
             ++corner)
            EXPECT_TRUE(shown.count(std::uint8_t(200 - panel.corner_index(corner))))
                << palette.size() << " colours, " << panel.corner_index(corner);
    }
}

TEST(PackageBuilder, MakesTheSameBytesEverywhere) {
    Palette cube; // whose sides the hull has to cut into triangles
    for (int corner = 0; corner < 8; ++corner)
        cube.push_back(to_bytes(
            255.0 * Vector3{double(corner >> 2), double(corner >> 1 & 1), double(corner & 1)}));
    const struct {
        Palette palette;
        BuildOptions options;
        std::uint32_t crc;
    } packages[] = {
        {six, {.intent = Intent::perceptual}, 0x2AB8D6F1},
        {six, {.intent = Intent::vivid, .tuning = Tuning::jjn}, 0x8DF53183},
        {six, {.intent = Intent::absolute, .tuning = Tuning::stucki}, 0xEADF2DE1},
        {cube, {.intent = Intent::absolute, .tuning = Tuning::floyd}, 0xF45BCC0A},
    };
    for (const auto &[palette, options, crc] : packages)
        EXPECT_EQ(package_crc(build_package(panel_colours(palette), options)), crc)
            << intent_names()[std::size_t(options.intent)];
}

TEST(PackageBuilder, NotesWhatAPackageIsForAndReadsItsOwnNotesOnly) {
    BuiltTables tables;
    tables.producer = {'O', 'X', 1, 2, 3, 0};
    const auto package = assemble_package({}, tables);
    const auto options = noted_options(package);
    ASSERT_TRUE(options);
    EXPECT_EQ(options->intent, Intent::absolute);
    EXPECT_EQ(options->tuning, Tuning::stucki);
    for (std::size_t i = 0; i < tables.producer.size() - 1; ++i) {
        auto other = package;
        other[i] = tunings; // the first number that names none
        EXPECT_FALSE(noted_options(other)) << "byte " << i;
    }
    EXPECT_FALSE(noted_options({}));
}

/// Flat colours of any bytes and the greys of a package, as pictures dithered onto its grid show
/// them.
struct Judgement {
    DifferenceSummary flat;
    RampFigures greys;
};

Judgement judge(const Characterisation &panel, const BuildOptions &options, std::size_t mode) {
    const GamutMapping mapping(panel, options.intent);
    const BuiltTables tables = build_tables(panel, options);
    return {summarise(show_patches(panel, mapping, tables, reachable_colours(panel, mapping, 128)),
                      mode),
            judge_greys(panel, mapping, tables)[mode]};
}

TEST(PackageBuilder, ShowsTheColoursWanted) {
    const struct {
        Tuning tuning;
        std::size_t mode;
        double mean, percentile95;
    } limits[] = {
        {Tuning::all, DITHER_FLOYD_SERPENTINE, 1.1, 2.6},
        {Tuning::all, DITHER_JJN, 1.4, 3.4},
        {Tuning::floyd, DITHER_FLOYD, 0.6, 1.6},
        {Tuning::jjn, DITHER_JJN_SERPENTINE, 0.8, 2},
        {Tuning::stucki, DITHER_STUCKI, 0.8, 2},
    };
    for (const auto &[tuning, mode, mean, percentile95] : limits) {
        const DifferenceSummary flat =
            judge(Characterisation(brighter), {.intent = Intent::absolute, .tuning = tuning}, mode)
                .flat;
        EXPECT_LT(flat.mean, mean) << mode;
        EXPECT_LT(flat.percentile95, percentile95) << mode;
    }
}

/// Of greys that are not dithered onto the grid.
double bare_step_back(const Characterisation &panel, const BuiltTables &tables, int mode) {
    std::vector<Vector3> lights;
    for (const RgbBytes &grey : ramp_greys()) {
        const std::size_t cell = std::size_t(grey[0] >> 2) * (4096 + 64 + 1);
        const DitheredBytes bytes(RgbBytes{tables.gamut[3 * cell], tables.gamut[3 * cell + 1],
                                           tables.gamut[3 * cell + 2]});
        lights.push_back(PatchSimulation(panel, tables.quantisation)
                             .mean_light(mode, {&bytes, 1}, {.size = 96, .border = 16, .lead = 48})
                             .front());
    }
    return judge_ramp(panel, lights).step_back;
}

TEST(PackageBuilder, KeepsGreysInTheirOrderAndWithoutACast) {
    const Palette two{{34, 33, 38}, {178, 180, 175}},
        seven{{30, 30, 34},  {170, 172, 166}, {176, 156, 40}, {122, 40, 36},
              {60, 100, 66}, {44, 78, 124},   {156, 92, 44}};
    const struct {
        Palette palette;
        double cast;
    } panels[] = {{two, 1.5}, {six, 2.5}, {seven, 2.5}};
    for (const auto &[palette, cast] : panels)
        for (const auto &[tuning, mode, jump] :
             {std::tuple(Tuning::floyd, DITHER_FLOYD_SERPENTINE, 4.0),
              std::tuple(Tuning::jjn, DITHER_JJN, 4.0),
              std::tuple(Tuning::stucki, DITHER_STUCKI_SERPENTINE, 4.5)}) {
            const Characterisation panel(palette);
            const BuiltTables tables = build_tables(panel, {.tuning = tuning});
            const RampFigures greys =
                judge_greys(panel, GamutMapping(panel, Intent::perceptual), tables)[mode];
            if (tuning == Tuning::floyd) { // others have a texture, which only a preparation mixes
                EXPECT_LT(bare_step_back(panel, tables, mode), 2) << palette.size() << " colours";
            }
            EXPECT_LT(greys.step_back, 0.8) << palette.size() << " colours, mode " << mode;
            EXPECT_LT(greys.jump, jump) << palette.size() << " colours, mode " << mode;
            EXPECT_LT(greys.cast, cast) << palette.size() << " colours, mode " << mode;
        }
}

TEST(PackageBuilder, RendersAbsoluteInksPure) {
    for (const Palette &palette : {six, brighter})
        for (const Tuning tuning : {Tuning::floyd, Tuning::stucki}) {
            const auto package = build_package(panel_colours(palette),
                                               {.intent = Intent::absolute, .tuning = tuning});
            for (const RgbBytes &ink : palette)
                for (std::uint32_t mode = 0; mode < dithering_modes; ++mode) {
                    const auto image = render_flat(package, ink, 12, mode);
                    for (std::size_t i = 0; i < image.size(); ++i)
                        ASSERT_EQ(image[i], ink[i % 3]) << "mode " << mode;
                }
        }
}

TEST(PackageBuilder, MixesGreysThatMeasuringLeftNotQuiteGrey) {
    const Judgement judgement = // few colours lie inside
        judge(Characterisation({{30, 31, 30}, {79, 80, 81}, {131, 130, 130}, {180, 179, 180}}), {},
              DITHER_FLOYD_SERPENTINE);
    EXPECT_LT(judgement.flat.mean, 1.0);
}

} // namespace
