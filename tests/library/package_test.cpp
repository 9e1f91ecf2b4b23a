#include "Oxel_Morvel6_render.h"
#include "diffusion.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>

namespace {

/// Whether a table ends before the trailer.
bool lies_inside(const Bytes &package, std::uint64_t offset, std::uint64_t size) {
    return offset + size + 4 <= package.size();
}

// Packages whose tables share their bytes, at offsets of any kind: a render takes each table from
// where its offset says, or does not begin.
TEST(Package, IsReadWhereItsHeaderSays) {
    Random random(71);
    std::unique_ptr<GuardedBytes> package; // the one in force
    Case c{random_bytes(random, 3 * 9 * 6), ORDER_BGR, 9, 6, DITHER_STUCKI};
    int usable_packages = 0;
    for (int i = 0; i < 50 && !testing::Test::HasFailure(); ++i) {
        const int largest = 5 + random_below(random, 8); // surely among the indices
        const auto entries = static_cast<std::uint64_t>(largest) + 1;
        const std::uint64_t table_sizes[] = {3 * entries, entries, 3 * cell_count, cell_count};
        Bytes bytes = random_bytes(random, 28 + 3 * cell_count + 400 + 4, largest);
        const auto size = static_cast<std::uint32_t>(bytes.size());
        std::uint32_t offsets[4];
        for (int table = 0; table < 4; ++table) { // one of them in turn at each of the edges
            const std::uint64_t latest = size - 4 - table_sizes[table];
            const std::uint32_t start = table == 3 ? 27 : 0; // in the header: 27 holds an index
            const std::uint32_t edges[] = {start, 28, static_cast<std::uint32_t>(latest),
                                           static_cast<std::uint32_t>(latest + 1), 0xFFFFFFFF};
            offsets[table] = i < 20 && table == i % 4
                                 ? edges[i / 4]
                                 : 28 + static_cast<std::uint32_t>(random() % (latest - 27));
            put_u32(bytes, 12 + 4 * static_cast<std::size_t>(table), offsets[table]);
        }
        const std::uint32_t counts[] = {0, 6, 65535, 262, 6}; // 262 is 6 in its low byte
        const std::uint32_t colours = counts[i % 5];
        bytes[10] = static_cast<std::uint8_t>(colours & 255);
        bytes[11] = static_cast<std::uint8_t>(colours >> 8);
        put_u32(bytes, 6, size);
        put_crc(bytes);

        auto candidate = std::make_unique<GuardedBytes>(bytes);
        ASSERT_EQ(Oxel_Morvel6_render_init(candidate->get(), size), OXEL_SUCCESS);
        package = std::move(candidate);
        EXPECT_EQ(EO_RGB_color, package->get() + offsets[0]);
        EXPECT_EQ(TCON_INDEX_TABLE, package->get() + offsets[1]);

        bool usable = true;
        for (int table = 0; table < 4; ++table)
            usable = usable && lies_inside(bytes, offsets[table], table_sizes[table]);
        const auto table = [&](int number) {
            const auto start = bytes.begin() + offsets[number];
            return Bytes(start, start + static_cast<std::ptrdiff_t>(table_sizes[number]));
        };
        const Tables tables =
            usable ? Tables{table(0), table(1), table(2), table(3)} : Tables{{}, {}, {}, {}};
        usable_packages += usable;
        c.mode = static_cast<std::uint32_t>(i) % oxel::dithering_modes;

        const auto expect_renders = [&] {
            const Bytes indices = usable ? reference_indices(tables, c) : Bytes();
            for (const int type : {OUTPUT_TCON_CODE, OUTPUT_NOMINAL_RGB, OUTPUT_EO_RGB}) {
                const std::int32_t expected =
                    !usable                                       ? OXEL_UNUSABLE_TABLES
                    : type != OUTPUT_NOMINAL_RGB                  ? OXEL_SUCCESS
                    : colours != 6                                ? OXEL_NOT_SIX_COLOURS
                    : entries > 6 /* more than nominal colours */ ? OXEL_UNUSABLE_TABLES
                                                                  : OXEL_SUCCESS;
                Bytes output = c.input;
                ASSERT_EQ(Oxel_Morvel6_render(c.input.data(), c.rgb_order, output.data(), ORDER_RGB,
                                              c.width, c.height, c.mode, type),
                          expected);
                ASSERT_EQ(output,
                          expected ? c.input : reference_output(tables, indices, ORDER_RGB, type));
            }
        };
        expect_renders();
        // One that is refused leaves this one in force, whatever it holds.
        Bytes refused = random_bytes(random, bytes.size());
        put_u32(refused, 6, size + static_cast<std::uint32_t>(i % 2));
        put_crc(refused);
        if (i % 2 == 0)
            refused[random() % size] ^= static_cast<std::uint8_t>(1 << random() % 8);
        ASSERT_EQ(Oxel_Morvel6_render_init(refused.data(), size),
                  i % 2 ? OXEL_BAD_PACKAGE_LENGTH : OXEL_BAD_PACKAGE_CRC);
        expect_renders();
    }
    EXPECT_EQ(usable_packages, 50 - 4 * 2);
    Random other(72);
    adopt(random_tables(other, 6).package()); // which outlives this test
}

TEST(Package, LengthComesBeforeTrailerBeforeLengthField) {
    Bytes digits{'1', '2', '3', '4', '5', '6', '7', '8', '9', 0, 0, 0, 0};
    put_crc(digits);
    EXPECT_EQ(Bytes(digits.end() - 4, digits.end()), Bytes({0x26, 0x39, 0xF4, 0xCB}));

    Random random(12);
    const Bytes good = random_tables(random, 6).package();
    const auto init_changed = [&](std::size_t offset, bool right_crc) {
        Bytes package = good;
        package[offset] ^= 1;
        if (right_crc)
            put_crc(package);
        const GuardedBytes guarded(package);
        const std::int32_t status = Oxel_Morvel6_render_init(guarded.get(), guarded.size());
        adopt(good);
        return status;
    };
    EXPECT_EQ(Oxel_Morvel6_render_init(nullptr, 100), OXEL_BAD_PACKAGE_LENGTH);
    EXPECT_EQ(Oxel_Morvel6_render_init(good.data(), 0x80000000), OXEL_BAD_PACKAGE_LENGTH);
    EXPECT_EQ(Oxel_Morvel6_render_init(good.data(), 27), OXEL_BAD_PACKAGE_LENGTH);
    EXPECT_EQ(Oxel_Morvel6_render_init(good.data(), 28), OXEL_BAD_PACKAGE_CRC);
    EXPECT_EQ(init_changed(6, false), OXEL_BAD_PACKAGE_CRC);
    EXPECT_EQ(init_changed(6, true), OXEL_BAD_PACKAGE_LENGTH);
    for (std::size_t producer = 0; producer < 6; ++producer)
        EXPECT_EQ(init_changed(producer, true), OXEL_SUCCESS);
}

} // namespace
