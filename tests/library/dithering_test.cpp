#include "dithering.h"

#include "Oxel_Morvel6_render.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <utility>

// The routines behind the renders, for images that are mapped already.

namespace {

TEST(Dithering, RoutinesAgreeWithTheReference) {
    constexpr std::pair<int, int> sizes[] = {{7, 5}, {530, 33}, {0, 5}, {5, 0}, {-3, 5}, {5, -1}};
    Random random(21);
    const Tables tables = random_tables(random, 9);
    adopt(tables.package());
    for (const auto &[columns, rows] : sizes)
        for (std::uint32_t mode = 0; mode < oxel::dithering_modes; ++mode) {
            const int width = columns, height = rows; // which Clang 14 captures
            const bool empty = width < 1 || height < 1;
            Bytes image = random_bytes(random, empty ? 15 : 3U * unsigned(width * height));
            const Bytes expected =
                empty ? Bytes(5, 0xEE) : reference_dithering(tables, image, width, height, mode);
            for (const std::uint32_t order : {ORDER_RGB, ORDER_BGR}) {
                for_each_form([&] {
                    const GuardedBytes copy(image), plane(Bytes(image.size() / 3, 0xEE));
                    EXPECT_EQ(oxel::dithering_routines[mode / 2](copy.get(), order, plane.get(),
                                                                 static_cast<std::uint32_t>(width),
                                                                 height, mode % 2),
                              OXEL_SUCCESS);
                    EXPECT_EQ(plane.bytes(), expected) << width << " x " << height << ", " << mode;
                    EXPECT_EQ(copy.bytes(), image) << "it is only read";
                });
                for (std::size_t i = 0; i < image.size(); i += 3)
                    std::swap(image[i], image[i + 2]);
            }
        }
}

} // namespace
