#include "dithering.h"

#include "diffusion_kernel.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

using namespace oxel;

DitheringRoutine *const routines[] = {Oxel_dithering_Floyd, Oxel_dithering_Jarvis_Judice_Ninkle,
                                      Oxel_dithering_Stucki};

Bytes dither(const Bytes &image, std::uint32_t rgb_order, int width, int height,
             std::uint32_t dithering_mode) {
    const GuardedBytes working_copy(image);
    const GuardedBytes index_plane(image.size() / 3, 0xEE);
    EXPECT_EQ(routines[dithering_mode / 2](working_copy.get(), rgb_order, index_plane.get(),
                                           static_cast<std::uint32_t>(width), height,
                                           dithering_mode % 2),
              0);
    EXPECT_EQ(working_copy.bytes(), image) << "the working copy is only read";
    return index_plane.bytes();
}

TEST(Dithering, WorkedTwoColourImages) {
    const struct {
        int width, height;
        std::uint8_t grey;
        std::uint32_t mode;
        Bytes indices;
    } cases[] = {
        {4, 2, 100, 0, {0, 1, 0, 0, 0, 1, 0, 1}},
        {4, 2, 100, 1, {0, 1, 0, 0, 1, 0, 0, 1}},
        {4, 2, 100, 2, {0, 0, 0, 1, 1, 0, 0, 1}},
        {4, 2, 100, 3, {0, 0, 0, 1, 1, 0, 1, 0}},
        {4, 2, 100, 4, {0, 0, 1, 0, 0, 1, 0, 0}},
        {4, 2, 100, 5, {0, 0, 1, 0, 0, 1, 0, 0}},
        {6, 3, 64, 0, {0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0}},
        {6, 3, 64, 1, {0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0}},
        {6, 3, 64, 2, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 1, 0}},
        {6, 3, 64, 3, {0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0}},
        {6, 3, 64, 4, {0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0}},
        {6, 3, 64, 5, {0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0}},
        {5, 3, 200, 4, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1}},
        {5, 3, 200, 5, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 1, 1, 1}},
    };
    adopt(two_colour_tables().package());
    for (const auto &c : cases)
        for (const std::uint32_t order : {ORDER_RGB, ORDER_BGR})
            EXPECT_EQ(dither(Bytes(3 * c.indices.size(), c.grey), order, c.width, c.height, c.mode),
                      c.indices)
                << "mode " << c.mode << ", grey " << int{c.grey};
}

TEST(Dithering, WorkedShares) {
    struct Row {
        int error;
        std::vector<int> shares; // of the weights named below, then of the whole kernel
    };
    const struct {
        DiffusionKernel kernel;
        std::vector<std::pair<int, int>> places;
        std::vector<Row> rows;
    } cases[] = {
        {floyd_steinberg,
         {{0, 3}, {1, 1}, {1, 2}, {1, 3}},
         {{16, {7, 3, 5, 1, 16}},
          {100, {43, 18, 31, 6, 98}},
          {-100, {-44, -19, -32, -7, -102}},
          {1, {0, 0, 0, 0, 0}},
          {-1, {-1, -1, -1, -1, -4}},
          {255, {111, 47, 79, 15, 252}},
          {-255, {-112, -48, -80, -16, -256}}}},
        {jarvis_judice_ninke,
         {{0, 3}, {0, 4}, {1, 4}, {2, 0}},
         {{100, {14, 10, 6, 2, 96}},
          {-100, {-14, -10, -6, -2, -96}},
          {16, {2, 1, 1, 0, 12}},
          {7, {1, 0, 0, 0, 2}},
          {-1, {0, 0, 0, 0, 0}},
          {255, {37, 26, 15, 5, 248}}}},
        {stucki,
         {{0, 3}, {0, 4}, {1, 0}, {2, 4}},
         {{100, {19, 9, 4, 2, 94}},
          {-100, {-19, -9, -4, -2, -94}},
          {16, {3, 1, 0, 0, 10}},
          {7, {1, 0, 0, 0, 2}},
          {-1, {0, 0, 0, 0, 0}},
          {255, {48, 24, 12, 6, 252}}}},
    };
    for (const auto &[kernel, places, rows] : cases)
        for (const auto &[error, expected] : rows) {
            std::vector<int> shares;
            for (const auto &[row, column] : places)
                shares.push_back(kernel.share(row, column, error));
            int sum = 0;
            for (int place = 0; place < 15; ++place)
                sum += kernel.share(place / 5, place % 5, error);
            shares.push_back(sum);
            EXPECT_EQ(shares, expected) << "error " << error << " in parts of " << kernel.divisor;
        }
}

TEST(Dithering, QuantisesTheClampedValue) {
    Tables tables = two_colour_tables();
    tables.palette = {10, 20, 30, 200, 210, 220};
    tables.quantisation.assign(cell_count, 0);
    tables.quantisation[4064] = 1; // R 0, G 255, B 128
    adopt(tables.package());
    const std::int16_t rgb[] = {-40, 300, 128};
    const std::int16_t bgr[] = {128, 300, -40};
    for (const auto &[value, order] : {std::pair{rgb, ORDER_RGB}, std::pair{bgr, ORDER_BGR}}) {
        const QuantisedPixel pixel = quantise_pixel(value, order);
        EXPECT_EQ(pixel.index, 1);
        EXPECT_EQ(pixel.error[order == ORDER_RGB ? 0 : 2], -200);
        EXPECT_EQ(pixel.error[1], 45);
        EXPECT_EQ(pixel.error[order == ORDER_RGB ? 2 : 0], -92);
    }
}

TEST(Dithering, EmptyPlanesStayUntouched) {
    adopt(two_colour_tables().package());
    for (const auto &[width, height] : {std::pair{0, 5}, {5, 0}, {-3, 5}, {5, -1}, {-1, -1}})
        for (std::uint32_t mode = 0; mode < 6; ++mode)
            EXPECT_EQ(dither(Bytes(15, 200), ORDER_RGB, width, height, mode), Bytes(5, 0xEE));
}

TEST(Dithering, AgreesWithTheErrorPlane) {
    // Thin images leave most shares in the margins; wide ones exercise long chains of error.
    constexpr int cases_per_palette = 500;
    Random random(20261124);
    for (int palette = 0; palette < 48; ++palette) {
        const int colours = palette < 6    ? palette + 2
                            : palette == 6 ? 256
                                           : 2 + random_below(random, 255);
        const Tables tables = random_tables(random, colours);
        adopt(tables.package());
        for (int i = 0; i < cases_per_palette; ++i) {
            const int width = 1 + random_below(random, i % 2 ? 5 : 40);
            const int height = 1 + random_below(random, i % 3 ? 5 : 24);
            const auto mode = static_cast<std::uint32_t>(i % 6);
            const Bytes rgb = random_bytes(random, 3U * static_cast<unsigned>(width * height));
            Bytes bgr = rgb;
            for (std::size_t p = 0; p < bgr.size(); p += 3)
                std::swap(bgr[p], bgr[p + 2]);
            const Bytes expected = reference_dithering(tables, rgb, width, height, mode);
            ASSERT_EQ(dither(rgb, ORDER_RGB, width, height, mode), expected)
                << width << " x " << height << ", mode " << mode << ", palette " << palette;
            ASSERT_EQ(dither(bgr, ORDER_BGR, width, height, mode), expected) << "B, G, R";
        }
    }
}

} // namespace
