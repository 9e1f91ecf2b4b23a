#include "Oxel_Morvel6_render.h"
#include "support.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace {

TEST(Faults, EveryAllocationMayFail) {
    constexpr int width = 5, height = 4;
    constexpr std::size_t size = 3 * width * height;
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const Bytes picture(size, 0x77), filled(size, 0xEE);
    Bytes input, output, preview;
    int w, h, verdict;
    const struct {
        const char *name;
        int allocations;
        std::function<int()> call;
    } entries[] = {
        {"render", 3,
         [&] {
             return Oxel_Morvel6_render(input.data(), 0, output.data(), 0, width, height,
                                        DITHER_STUCKI, OUTPUT_EO_RGB);
         }},
        {"render_All", 3,
         [&] {
             return Oxel_Morvel6_render_All(input.data(), 0, output.data(), nullptr, preview.data(),
                                            nullptr, width, height, DITHER_JJN);
         }},
        {"guard, both renderings", 4,
         [&] {
             return Oxel_Morvel6_render_with_powerGuard(input.data(), 1, output.data(), 0, width,
                                                        height, DITHER_FLOYD, OUTPUT_TCON_CODE, nan,
                                                        &verdict);
         }},
        {"merge", 1, [&] { return Oxel_TFT_format_transfer(input.data(), &w, &h, 1); }},
        {"split", 1, [&] { return Oxel_TFT_format_transfer(input.data(), &w, &h, 5); }},
        {"swap", 0, [&] { return Oxel_TFT_format_transfer(input.data(), &w, &h, 3); }},
        {"adjustment", 0,
         [&] {
             return Oxel_image_adjustment(input.data(), 0, output.data(), 0, width, height, 9, 9, 9,
                                          9, 2.2);
         }},
    };
    adopt(two_colour_tables().package());
    for (const auto &[name, allocations, call] : entries)
        for (int succeeding = 0; succeeding <= allocations; ++succeeding) {
            SCOPED_TRACE(testing::Message() << name << ", allocation " << succeeding);
            input = picture;
            output = preview = filled;
            w = width, h = height, verdict = -7;
            HeapFaults::live = 0;
            HeapFaults::fail_after = succeeding;
            const int status = call();
            HeapFaults::fail_after = -1;
            EXPECT_EQ(HeapFaults::live, 0) << "leaked";
            const bool done = succeeding == allocations;
            EXPECT_EQ(status, done ? OXEL_SUCCESS : OXEL_OUT_OF_MEMORY);
            if (!done) {
                EXPECT_TRUE(input == picture && output == filled && preview == filled);
                EXPECT_TRUE(w == width && h == height && verdict == -7);
            }
        }
}

} // namespace
