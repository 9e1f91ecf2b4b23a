#include "Oxel_Morvel6_render.h"
#include "reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>

namespace {

constexpr std::uint64_t table_sizes[] = {0, 0, 3 * cell_count, cell_count}; // the first two vary

struct Header {
    std::uint32_t offsets[4];
    std::uint32_t colours;
};

Bytes table_of(const Bytes &package, std::uint64_t offset, std::uint64_t size) {
    const auto start = package.begin() + static_cast<std::ptrdiff_t>(offset);
    return {start, start + static_cast<std::ptrdiff_t>(size)};
}

/// Whether a table lies between the header and the trailer.
bool lies_inside(const Bytes &package, std::uint64_t offset, std::uint64_t size) {
    return offset >= 28 && offset + size + 4 <= package.size();
}

// Packages whose tables share their bytes, at offsets of any kind: a render takes each table from
// where its offset says, or does not begin.
TEST(Package, IsReadWhereItsHeaderSays) {
    Random random(71);
    std::unique_ptr<GuardedBytes> package; // the one in force
    Case c{random_bytes(random, 3 * 9 * 6), ORDER_BGR, 9, 6, DITHER_STUCKI};
    int usable_packages = 0;
    for (int i = 0; i < 60 && !testing::Test::HasFailure(); ++i) {
        const std::size_t slack = i % 4 ? 400 : 60;
        Bytes bytes =
            random_bytes(random, 28 + 3 * cell_count + slack + 4, 5 + random_below(random, 8));
        const auto size = static_cast<std::uint32_t>(bytes.size());
        Header header{};
        for (int table = 0; table < 4; ++table) {
            const std::uint64_t latest = size - 4 - table_sizes[table];
            const std::uint32_t edges[] = {27, 28, static_cast<std::uint32_t>(latest),
                                           static_cast<std::uint32_t>(latest + 1), 0xFFFFFFFF};
            header.offsets[table] = random_below(random, 8)
                                        ? 28 + static_cast<std::uint32_t>(random() % (latest - 27))
                                        : edges[random() % std::size(edges)];
            put_u32(bytes, 12 + 4 * static_cast<std::size_t>(table), header.offsets[table]);
        }
        const std::uint32_t counts[] = {0, 6, 65535, random_below(random, 2) ? 1U : 256U};
        header.colours = counts[i % 4];
        bytes[10] = static_cast<std::uint8_t>(header.colours & 255);
        bytes[11] = static_cast<std::uint8_t>(header.colours >> 8);
        put_u32(bytes, 6, size);
        put_crc(bytes);

        auto candidate = std::make_unique<GuardedBytes>(bytes);
        ASSERT_EQ(Oxel_Morvel6_render_init(candidate->get(), size), OXEL_SUCCESS);
        package = std::move(candidate);
        EXPECT_EQ(EO_RGB_color, package->get() + header.offsets[0]);
        EXPECT_EQ(TCON_INDEX_TABLE, package->get() + header.offsets[1]);

        bool usable = true;
        for (int table = 2; table < 4; ++table)
            usable = usable && lies_inside(bytes, header.offsets[table], table_sizes[table]);
        Tables tables;
        std::size_t entries = 0;
        if (usable) {
            tables.gamut = table_of(bytes, header.offsets[2], 3 * cell_count);
            tables.quantisation = table_of(bytes, header.offsets[3], cell_count);
            entries =
                *std::max_element(tables.quantisation.begin(), tables.quantisation.end()) + 1U;
            usable = lies_inside(bytes, header.offsets[0], 3 * entries) &&
                     lies_inside(bytes, header.offsets[1], entries);
        }
        if (usable) {
            tables.palette = table_of(bytes, header.offsets[0], 3 * entries);
            tables.codes = table_of(bytes, header.offsets[1], entries);
        }
        usable_packages += usable;
        const bool nominal = header.colours == 6; // and then every index needs a nominal colour
        c.mode = static_cast<std::uint32_t>(i) % 6;

        const auto expect_renders = [&] {
            const Bytes indices = usable ? reference_indices(tables, c) : Bytes();
            for (const int type : {OUTPUT_TCON_CODE, OUTPUT_NOMINAL_RGB, OUTPUT_EO_RGB}) {
                const bool no_colour = type == OUTPUT_NOMINAL_RGB && entries > 6;
                const std::int32_t expected = !usable ? OXEL_UNUSABLE_TABLES
                                              : type == OUTPUT_NOMINAL_RGB && !nominal
                                                  ? OXEL_NOT_SIX_COLOURS
                                              : no_colour ? OXEL_UNUSABLE_TABLES
                                                          : OXEL_SUCCESS;
                Bytes output = c.input;
                // An output that the count refuses needs no tables of its own, but others do.
                ASSERT_EQ(Oxel_Morvel6_render(c.input.data(), c.rgb_order, output.data(), ORDER_RGB,
                                              c.width, c.height, c.mode, type),
                          expected);
                ASSERT_EQ(output,
                          expected ? c.input : reference_output(tables, indices, ORDER_RGB, type));
            }
        };
        expect_renders();
        Bytes damaged = bytes; // a package that is refused leaves this one in force
        damaged[random() % damaged.size()] ^= static_cast<std::uint8_t>(1 << random() % 8);
        ASSERT_EQ(Oxel_Morvel6_render_init(damaged.data(), size), OXEL_BAD_PACKAGE_CRC);
        expect_renders();
    }
    EXPECT_GT(usable_packages, 20);
    EXPECT_LT(usable_packages, 58);
    Random other(72);
    adopt(random_tables(other, 6).package()); // which outlives this test
}

} // namespace
