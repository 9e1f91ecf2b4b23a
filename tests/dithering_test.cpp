#include "dithering.h"
#include "quantisation.h"

#include "diffusion_kernel.h"
#include "library_state.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace oxel;

Bytes dither(const Bytes &image, std::uint32_t rgb_order, int width, int height,
             std::uint32_t mode) {
    constexpr DitheringRoutine *routines[] = {
        Oxel_dithering_Floyd, Oxel_dithering_Jarvis_Judice_Ninkle, Oxel_dithering_Stucki};
    const GuardedBytes working_copy(image), index_plane(Bytes(image.size() / 3, 0xEE));
    EXPECT_EQ(routines[mode / 2](working_copy.get(), rgb_order, index_plane.get(),
                                 static_cast<std::uint32_t>(width), height, mode % 2),
              0);
    EXPECT_EQ(working_copy.bytes(), image) << "the working copy is only read";
    return index_plane.bytes();
}

TEST(Dithering, WorkedImages) {
    Tables tables{{0, 0, 0, 255, 255, 255}, {0, 1}};
    std::fill(tables.quantisation.begin() + cell_count / 2, tables.quantisation.end(),
              std::uint8_t{1});
    adopt(tables.package());
    for (const auto &row : worked("dithering")) {
        Bytes expected;
        for (auto line = row.begin() + 4; line != row.end(); ++line)
            for (const char index : *line)
                expected.push_back(static_cast<std::uint8_t>(index - '0'));
        const Bytes image(3 * expected.size(), static_cast<std::uint8_t>(std::stoi(row[2])));
        EXPECT_EQ(dither(image, ORDER_RGB, std::stoi(row[0]), std::stoi(row[1]),
                         static_cast<std::uint32_t>(std::stoi(row[3]))),
                  expected)
            << testing::PrintToString(row);
    }
    for (const auto &[width, height] : {std::pair{0, 5}, {5, 0}, {-3, 5}, {5, -1}, {-1, -1}})
        for (std::uint32_t mode = 0; mode < 6; ++mode)
            EXPECT_EQ(dither(Bytes(15, 200), ORDER_RGB, width, height, mode), Bytes(5, 0xEE));
}

TEST(Dithering, WorkedShares) {
    constexpr DiffusionKernel kernels[] = {floyd_steinberg, jarvis_judice_ninke, stucki};
    for (const auto &row : worked("shares")) {
        const DiffusionKernel &kernel = kernels[std::stoi(row[0]) / 2];
        const int error = std::stoi(row[1]);
        for (std::size_t place = 2; place < 10; place += 2)
            EXPECT_EQ(kernel.share(row[place][0] - '0', row[place][2] - '0', error),
                      std::stoi(row[place + 1]))
                << testing::PrintToString(row);
        int sum = 0;
        for (int place = 0; place < 15; ++place)
            sum += kernel.share(place / 5, place % 5, error);
        EXPECT_EQ(sum, std::stoi(row[10])) << testing::PrintToString(row);
    }
}

TEST(Dithering, QuantisesTheClampedValue) {
    Tables tables{{10, 20, 30, 200, 210, 220}, {0, 1}};
    tables.quantisation[4064] = 1; // R 0, G 255, B 128
    adopt(tables.package());
    const std::int16_t values[][3] = {{-40, 300, 128}, {128, 300, -40}};
    for (const std::uint32_t order : {ORDER_RGB, ORDER_BGR}) {
        const auto [index, error] = quantise_pixel(values[order], order, {QLUT, EO_RGB_color});
        EXPECT_EQ(index, 1);
        EXPECT_EQ(error[2 * order], -200);
        EXPECT_EQ(error[1], 45);
        EXPECT_EQ(error[2 - 2 * order], -92);
    }
}

TEST(Dithering, EveryFormAgreesWithTheErrorPlane) {
    // Thin pictures leave most shares in the margins; wide and high ones are done in several
    // segments and blocks, with some left over.
    Random random(20261124);
    constexpr int sizes[][2] = {{5, 5}, {40, 24}, {5, 70}, {700, 3}, {520, 40}};
    for (int palette = 0; palette < 40; ++palette) {
        constexpr int palette_sizes[] = {2, 3, 6, 16, 17, 256};
        const int colours =
            palette < 12 ? palette_sizes[palette % 6] : 2 + random_below(random, 255);
        const Tables tables = palette % 2 ? nearest_tables(random, std::min(colours, 17))
                                          : random_tables(random, colours);
        adopt(tables.package());
        for (int i = 0; i < 60; ++i) {
            const auto &[widest, highest] = sizes[i / 6 % 5];
            const int width = 1 + random_below(random, widest);
            const int height = 1 + random_below(random, highest);
            const auto mode = static_cast<std::uint32_t>(i % 6);
            const Bytes rgb = random_bytes(random, 3U * static_cast<unsigned>(width * height));
            Bytes bgr = rgb;
            for (std::size_t p = 0; p < bgr.size(); p += 3)
                std::swap(bgr[p], bgr[p + 2]);
            const Bytes expected = reference_dithering(tables, rgb, width, height, mode);
            for_each_form([&] {
                ASSERT_EQ(dither(rgb, ORDER_RGB, width, height, mode), expected)
                    << width << " x " << height << ", mode " << mode << ", palette " << palette;
                ASSERT_EQ(dither(bgr, ORDER_BGR, width, height, mode), expected) << "B, G, R";
            });
        }
    }
}

} // namespace
