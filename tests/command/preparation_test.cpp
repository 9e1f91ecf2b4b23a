// Properties of the preparation of pictures.

#include "preparation/inks.h"
#include "preparation/light.h"
#include "preparation/preparation.h"
#include "preparation/reduction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>
#include <span>

using namespace oxel::tools;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t palette[] = {26, 24, 32, 208, 212, 208, 214, 196, 40, 150, 26, 30};

Light light_of(const Bytes &bytes) {
    Light light(bytes.size());
    light_of_bytes(bytes, light);
    return light;
}

Light flat(const std::array<std::uint16_t, 3> &colour, ImageSize size) {
    Light light;
    for (std::size_t i = 0; i < size.pixels(); ++i)
        light.insert(light.end(), colour.begin(), colour.end());
    return light;
}

/// Smooth, with noise of the light's last bits.
Light photograph(ImageSize size) {
    std::mt19937 random(5);
    Light light;
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            for (const int channel : {180 * x + 90 * y, 40 * x + 200 * y, 300 * (x ^ y)})
                light.push_back(
                    static_cast<std::uint16_t>((channel + int(random() & 63)) & 0xFFFF));
    return light;
}

Bytes on_grid(const Light &light, ImageSize size, Grid grid) {
    Bytes bytes(light.size());
    dither_to_grid(light, size, grid, ExactColours(palette), bytes);
    return bytes;
}

std::uint32_t checksum(const Bytes &bytes) {
    std::uint32_t sum = 2166136261;
    for (const std::uint8_t byte : bytes)
        sum = (sum ^ byte) * 16777619;
    return sum;
}

} // namespace

TEST(Light, GivesBytesBackAndRises) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::uint16_t light = light_of_byte(std::uint8_t(byte));
        const double v = byte / 255.0;
        const double curve = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        EXPECT_NEAR(light, 65535 * curve, 0.5001);
        EXPECT_EQ(fine_byte_of_light(light), 256 * byte);
    }
    for (int light = 1; light < 65536; ++light) {
        const auto before = std::uint16_t(light - 1);
        ASSERT_GE(fine_byte_of_light(std::uint16_t(light)), fine_byte_of_light(before));
        ASSERT_GE(lightness_of_light(std::uint16_t(light)), lightness_of_light(before));
        ASSERT_NEAR(light_of_lightness(lightness_of_light(std::uint16_t(light))), light, 2);
    }
}

TEST(Grid, TakesBytesAsItTakesTheirLight) {
    constexpr ImageSize size{256, 64};
    Bytes bytes = bytes_of(photograph(size));
    for (std::size_t i = 0; i < bytes.size(); i += 51) // inks, pure colours, and close to them
        for (std::size_t c = 0; c < 3; ++c)
            bytes[i + c] = i % 2 ? palette[(i / 51 + c) % sizeof palette] : i % 3 ? 255 : 0;
    for (std::size_t i = 0; i + 768 <= bytes.size(); i += 768 * 7)
        for (std::size_t value = 0; value < 768; ++value)
            bytes[i + value] = std::uint8_t(value / 3);
    Light light(bytes.size());
    light_of_bytes(bytes, light);
    for (const Grid grid : {Grid::middles, Grid::ends}) {
        Bytes from_bytes(bytes.size());
        dither_to_grid(bytes, size, grid, ExactColours(palette), from_bytes);
        EXPECT_EQ(from_bytes, on_grid(light, size, grid));
    }
}

TEST(Grid, KeepsPureColoursAndInksFlat) {
    constexpr ImageSize size{64, 40};
    const auto expect_flat = [&](const std::array<std::uint16_t, 3> &colour,
                                 const std::array<int, 3> &cell) {
        for (const Grid grid : {Grid::middles, Grid::ends}) {
            const Bytes bytes = on_grid(flat(colour, size), size, grid);
            for (std::size_t i = 0; i < bytes.size(); ++i)
                ASSERT_EQ(bytes[i] >> 2, cell[i % 3]);
        }
    };
    for (int pure = 0; pure < 8; ++pure) {
        std::array<std::uint16_t, 3> colour{};
        std::array<int, 3> cell{};
        for (std::size_t c = 0; c < 3; ++c)
            if (pure >> c & 1) {
                colour[c] = 65534; // as a resize may round it
                cell[c] = 63;
            }
        expect_flat(colour, cell);
    }
    for (std::size_t i = 0; i < std::size(palette); i += 3) {
        const std::span ink = std::span(palette).subspan(i, 3);
        std::array<std::uint16_t, 3> colour{};
        light_of_bytes(ink, colour);
        expect_flat(colour, {ink[0] >> 2, ink[1] >> 2, ink[2] >> 2});
    }
}

TEST(Grid, KeepsMeansAndGreys) {
    constexpr ImageSize size{192, 192};
    for (const Grid grid : {Grid::middles, Grid::ends})
        for (int light = 23; light < 65000; light = light * 5 / 4 + 1) {
            const auto channel = std::uint16_t(light);
            const Bytes bytes = on_grid(flat({channel, channel, channel}, size), size, grid);
            double sum = 0;
            for (std::size_t i = 0; i < bytes.size(); i += 3) {
                ASSERT_TRUE(bytes[i] == bytes[i + 1] && bytes[i] == bytes[i + 2]);
                const int cell = bytes[i] >> 2;
                sum += grid == Grid::ends ? cell * 255.0 / 63 : 4 * cell + 1.5;
            }
            const double wanted = fine_byte_of_light(channel) / 256.0;
            if (grid == Grid::ends || wanted >= 1.5) {
                EXPECT_NEAR(3 * sum / double(bytes.size()), wanted, 255.0 / 2000) << light;
            }
        }
}

TEST(Preparation, RendersWhatATallerPictureWould) {
    for (const ImageSize size : {ImageSize{31, 300}, {9, 5}}) {
        const int rows = preroll_rows(size);
        ASSERT_EQ(rows % 2, 0); // or serpentine orders would turn round
        const auto width = std::size_t(size.width);
        const Light light = photograph(size);
        const PreparedPicture picture =
            prepare(light, size, Grid::ends, ExactColours(palette), rows);
        const Bytes plain = on_grid(light, size, Grid::ends);
        ASSERT_TRUE(std::equal(plain.begin(), plain.end(),
                               picture.bytes.begin() + std::ptrdiff_t(3 * width) * rows));
        for (int above = 0; above < rows; ++above) {
            const int place = above % (2 * size.height);
            const auto row = std::size_t(std::min(place, 2 * size.height - 1 - place));
            ASSERT_TRUE(std::equal(&plain[3 * width * row], &plain[3 * width * row] + 3 * width,
                                   &picture.bytes[3 * width * std::size_t(rows - 1 - above)]));
        }
    }
    EXPECT_EQ(preroll_rows({5000000, 143}), 0); // would leave what the library renders
}

TEST(Reduction, KeepsFlatColoursMeansAndParts) {
    constexpr ImageSize size{203, 117};
    const auto reduced = [&](const Light &light, double scale, ImageSize part, int left, int top) {
        Light result(3 * part.pixels());
        Reduction reduction({size.width, scale}, {size.height, scale}, left, top, part, result);
        for (std::size_t row = 0; row < light.size(); row += 3 * size.width)
            reduction.add(std::span(light).subspan(row, 3 * size.width));
        return result;
    };
    Light checks(3 * size.pixels());
    for (std::size_t i = 0; i < checks.size(); ++i)
        checks[i] = (i / 3 % size.width + i / 3 / size.width) % 2 ? 65535 : 0;
    for (const double scale : {1.0, 0.8, 0.5, 0.41, 0.25, 0.1, 0.02}) {
        const ImageSize whole{ReducedSide(size.width, scale).to,
                              ReducedSide(size.height, scale).to};
        const ImageSize part{(whole.width + 1) / 2, (whole.height + 1) / 2};
        EXPECT_EQ(reduced(flat({65535, 0, 777}, size), scale, whole, 0, 0),
                  flat({65535, 0, 777}, whole));
        const Light light = reduced(photograph(size), scale, whole, 0, 0);
        const Light piece =
            reduced(photograph(size), scale, part, whole.width / 2, whole.height / 2);
        for (std::size_t i = 0; i < piece.size(); ++i) {
            const auto row = 3 * std::size_t(part.width), whole_row = 3 * std::size_t(whole.width);
            const std::size_t x = i % row + 3 * std::size_t(whole.width / 2);
            const std::size_t y = i / row + std::size_t(whole.height / 2);
            ASSERT_EQ(piece[i], light[y * whole_row + x]) << scale << ' ' << i;
        }
        if (scale <= 0.5) { // finer than the result shows: their mean, in light
            const Light grey = reduced(checks, scale, whole, 0, 0);
            EXPECT_NEAR(grey[3 * (whole.pixels() / 2)], 32768, 700) << scale;
        }
    }
}

TEST(Development, DoesWhatItSays) {
    constexpr ImageSize size{64, 64};
    const auto developed = [&](Light light, const Development &amounts) {
        develop(light, size, amounts, ExactColours(palette));
        return light;
    };
    const Light photo = photograph(size);
    EXPECT_EQ(developed(photo, {}), photo);

    // One that keeps what does not depend on the amounts gives what a fresh one gives.
    Developer developer(photo, size);
    const Development tones{.clarity = 20, .shadows = 40};
    for (const Development &amounts :
         {tones, Development{.clarity = 50, .sharpen = 30, .shadows = -40, .highlights = 10},
          Development{.shadows = 40, .auto_levels = true}, tones,
          Development{.monochrome = true}}) {
        Light result(photo.size());
        developer.develop(amounts, ExactColours(palette), result);
        EXPECT_EQ(result, developed(photo, amounts)) << amounts.clarity;
    }

    // A grey wedge under warm light becomes grey, and its levels reach both ends.
    Light warm;
    for (int i = 0; i < 64 * 64; ++i)
        for (const int share : {120, 100, 60})
            warm.push_back(std::uint16_t((80 + i % 64 * 5) * share));
    for (const WhiteBalance balance : {WhiteBalance::automatic, WhiteBalance::grey}) {
        const Light light = developed(warm, {.white_balance = balance, .auto_levels = true});
        EXPECT_EQ(*std::min_element(light.begin(), light.end()), 0);
        EXPECT_GT(*std::max_element(light.begin(), light.end()), 65530);
        for (std::size_t i = 0; i < light.size(); i += 3)
            ASSERT_NEAR(light[i], light[i + 2], 100);
    }
    const Light grey = developed(photo, {.monochrome = true});
    for (std::size_t i = 0; i < grey.size(); i += 3)
        ASSERT_TRUE(grey[i] == grey[i + 1] && grey[i] == grey[i + 2]);

    // Tones of flat halves: dark and light ones move as told, black and white stay.
    const auto tone = [&](std::uint16_t light, const Development &amounts) {
        return developed(flat({light, light, light}, size), amounts)[0];
    };
    EXPECT_GT(tone(2000, {.shadows = 50}), 2800);
    EXPECT_LT(tone(2000, {.shadows = -50}), 1500);
    EXPECT_LT(tone(45000, {.highlights = -50}), 40000);
    EXPECT_NEAR(tone(45000, {.shadows = 50}), 45000, 1000);
    EXPECT_NEAR(tone(2000, {.highlights = -50}), 2000, 200);
    for (const std::uint16_t end : {std::uint16_t{0}, std::uint16_t{65535}})
        EXPECT_EQ(tone(end, {.clarity = 100, .shadows = 100, .highlights = -100}), end);

    // Stripes gain contrast from the amount for their size, and not where they are of ink.
    const auto contrast = [&](int period, const Bytes &dark, const Bytes &light,
                              const Development &amounts) {
        Bytes stripes;
        for (int i = 0; i < 64 * 64; ++i) {
            const Bytes &colour = i % 64 / period % 2 ? light : dark;
            stripes.insert(stripes.end(), colour.begin(), colour.end());
        }
        const Light result = developed(light_of(stripes), amounts);
        const auto [low, high] = std::minmax_element(result.begin(), result.end());
        return int(*high) - int(*low);
    };
    const Bytes dim(3, 110), bright(3, 130);
    const int before = contrast(8, dim, bright, {});
    EXPECT_GT(contrast(8, dim, bright, {.clarity = 40}), before * 5 / 4);
    EXPECT_GT(contrast(1, dim, bright, {.sharpen = 100}), before * 5 / 4);
    EXPECT_LT(contrast(8, dim, bright, {.clarity = -40}), before * 4 / 5);
    const Bytes ink(palette, palette + 3), red(palette + 9, palette + 12);
    EXPECT_EQ(contrast(8, ink, red, {.clarity = 100, .sharpen = 100}), contrast(8, ink, red, {}));
}

/// A drawing: boxes and strokes, flat and partly smoothed, in pure colours, inks, greys and others.
Bytes drawing(ImageSize size, std::mt19937 &random) {
    const auto below = [&](int end) { return int(random() % unsigned(end)); };
    const auto width = std::size_t(size.width);
    Bytes bytes(3 * size.pixels(), 255);
    for (int shape = 0; shape < 25; ++shape) {
        const int kind = below(4);
        const int ink = below(4);
        std::array<std::uint8_t, 3> colour{};
        for (std::size_t c = 0; c < 3; ++c)
            colour[c] =
                kind == 0 ? std::uint8_t(255 * below(2)) : palette[3 * std::size_t(ink) + c];
        if (kind > 1)
            colour.fill(std::uint8_t(kind == 2 ? 0 : below(256)));
        const bool lying = below(2) == 0;
        const int left = below(size.width), top = below(size.height);
        const int right = std::min(size.width, left + 1 + below(lying ? 50 : 4));
        const int bottom = std::min(size.height, top + 1 + below(lying ? 4 : 50));
        for (int y = top; y < bottom; ++y)
            for (int x = left; x < right; ++x)
                std::copy_n(colour.begin(), 3,
                            &bytes[3 * (std::size_t(y) * width + std::size_t(x))]);
    }
    for (std::size_t i = 3 * width; i < bytes.size() - 3 * width; ++i)
        if (i / 3 % width < width / 2)
            bytes[i] = std::uint8_t((2 * bytes[i] + bytes[i - 3] + bytes[i + 3 * width]) / 4);
    return bytes;
}

TEST(Inks, AreThoseOfLightInBytesAndTheSameOnEveryMachine) {
    std::mt19937 random(3);
    Bytes kinds;
    for (int i = 0; i < 60; ++i) {
        const ImageSize size{1 + int(random() % 200), 20 + int(random() % 90)};
        const Bytes bytes = drawing(size, random);
        const InkColours colours(palette, static_cast<Inks>(random() % 3));
        const InkPlane plane = find_inks(std::span<const std::uint8_t>(bytes), size, colours);
        ASSERT_EQ(plane, find_inks(std::span<const std::uint16_t>(light_of(bytes)), size, colours));
        std::transform(plane.begin(), plane.end(), std::back_inserter(kinds),
                       [](std::int16_t ink) { return std::uint8_t(ink + 2); });
    }
    for (std::uint8_t kind = 0; kind < 6; ++kind) // beside, diffused, and each ink
        EXPECT_GT(std::count(kinds.begin(), kinds.end(), kind), 1000) << int(kind);
    EXPECT_EQ(checksum(kinds), 68428686U);
}

TEST(Preparation, IsTheSameOnEveryMachine) {
    constexpr ImageSize size{97, 71};
    Light light = photograph(size);
    develop(light, size,
            {.clarity = 30,
             .sharpen = 50,
             .shadows = 40,
             .highlights = -20,
             .white_balance = WhiteBalance::automatic,
             .auto_levels = true},
            ExactColours(palette));
    EXPECT_EQ(checksum(prepare(light, size, Grid::ends, ExactColours(palette), 8).bytes),
              1195293446U);
}
