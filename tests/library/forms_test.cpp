#include "forms/forms.h"

#include "support.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace oxel;

// Told by the processor, not by the forms.
TEST(Forms, TheFastestOneThatTheProcessorHasIsChosen) {
    std::vector<std::string> expected;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512vbmi"))
        expected.emplace_back("AVX-512");
    if (__builtin_cpu_supports("avx2"))
        expected.emplace_back("AVX2");
#endif
#if defined(__SSE2__) || (defined(__ARM_NEON) && !defined(__ARM_BIG_ENDIAN))
    expected.emplace_back("128-bit vectors");
#endif
    expected.emplace_back("portable");
    std::vector<std::string> forms;
    for (const Form *form : all_forms())
        if (form->runs_here())
            forms.emplace_back(form->name);
    EXPECT_EQ(forms, expected);
    force_form(nullptr);
    EXPECT_EQ(chosen_form().name, expected.front());
}

// Each loop by itself at every length up to some registers, ended by an unreadable page, against
// the last form, which is the plain one.
TEST(Forms, LoopsAgree) {
    const Form &plain = *all_forms().end()[-1];
    Random random(3);
    CrcTables tables;
    for (auto &slice : tables)
        for (auto &entry : slice)
            entry = static_cast<std::uint32_t>(random());
    for (std::uint32_t n = 0; n < 256; ++n) // of which the first one alone defines the rest
        for (std::size_t k = 0; k < crc_slices; ++k) {
            const std::uint32_t before = k == 0 ? n : tables[k - 1][n];
            tables[k][n] = before;
            for (int bit = 0; bit < 8; ++bit)
                tables[k][n] =
                    tables[k][n] & 1 ? tables[k][n] >> 1 ^ 0xEDB88320 : tables[k][n] >> 1;
        }
    for (std::size_t length = 0; length < 420; ++length) {
        ColourTable colours{};
        colours.count = length % 2 ? 16 : 17;
        for (auto &colour : colours.bytes)
            for (auto &byte : colour)
                byte = static_cast<std::uint8_t>(random());
        const GuardedBytes indices(random_bytes(random, length, colours.count - 1));
        const Bytes image = random_bytes(random, 3 * length);
        std::vector<double> numbers(length);
        for (double &number : numbers)
            number = random_below(random, 3) ? random_below(random, 9000) / 6000.0 - 0.5 : 0.0;
        const double exponents[] = {2.0, 0.45, -1.5, 0.0, 7.5};
        const Adjustment adjustment{random_below(random, 1079) - 719, random_below(random, 3) - 1.0,
                                    random_below(random, 40) / 10.0, 0.25, -0.125};
        std::uint8_t curve[256];
        for (auto &byte : curve)
            byte = static_cast<std::uint8_t>(random());

        const auto results = [&](const Form &form) {
            const GuardedBytes pixels(Bytes(3 * length)), adjusted(image);
            form.write_pixels(indices.get(), length, colours, pixels.get());
            form.adjust({adjusted.get(), 0, adjusted.get(), 2, length}, adjustment);
            Bytes bytes = pixels.bytes(), more = adjusted.bytes();
            form.map_bytes(adjusted.get(), 3 * length, curve);
            bytes.insert(bytes.end(), more.begin(), more.end());
            more = adjusted.bytes();
            bytes.insert(bytes.end(), more.begin(), more.end());
            std::int32_t counts[256] = {};
            form.count_indices(indices.get(), length, colours.count, counts);
            std::vector<double> powers = numbers;
            form.power(powers.data(), length, exponents[length % 5]);
            for (double &power : powers)
                if (power != power)
                    power = -12345.0; // any NaN
            const std::uint32_t crc = form.crc32(0xFFFFFFFF, indices.get(), length, tables);
            return std::tuple(bytes, std::vector(counts, counts + colours.count), powers, crc);
        };
        const auto expected = results(plain);
        for (const Form *form : all_forms())
            if (form->runs_here()) {
                ASSERT_EQ(results(*form), expected) << form->name << ", length " << length;
            }
    }
}

} // namespace
