// What bytes can do to the library. Buffers have just the size that a call may use and begin
// or end at unreadable pages; a call that fails must leave its outputs alone.
#include "Oxel_Morvel6_render.h"
#include "choices.h"
#include "forms/forms.h"
#include "support.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <iterator>
#include <zlib.h>

namespace {

void expect(bool holds) {
    if (!holds)
        std::abort();
}

void choose_form(Choices &choices) {
    const auto forms = oxel::all_forms();
    const std::size_t choice = choices.byte();
    const auto *form = forms[choice % forms.size()];
    GuardedBytes::guards_start = choice / forms.size() % 2 != 0;
    oxel::force_form(form->runs_here() ? form : nullptr);
}

struct Image {
    std::int32_t width, height;
    bool usable; // small enough to be there

    explicit Image(Choices &choices)
        : width(choices.dimension()), height(choices.dimension()),
          usable(width < 1 || height < 1 || std::int64_t{width} * height <= 1 << 14) {}

    GuardedBytes pixels(std::uint8_t value, std::size_t bytes_more = 0) const {
        const bool any = usable && width > 0 && height > 0;
        const std::size_t bytes = any ? 3U * unsigned(width) * unsigned(height) : 0U;
        return GuardedBytes(Bytes(bytes + bytes_more, value));
    }
};

/// One call of any of the entries that take pictures, with buffers that are missing, shared, wholly
/// or in part, or each for itself.
void call_any(Choices &choices) {
    const Image image(choices);
    constexpr std::size_t most_apart = 7;
    const GuardedBytes buffers[] = {image.pixels(0x3C), image.pixels(0xE1), image.pixels(0x77),
                                    image.pixels(0x55, most_apart)};
    for (std::size_t i = 0, size = choices.rest.size(); size > 0 && i < buffers[0].size();
         i += size)
        std::copy_n(choices.rest.begin(), std::min(size, buffers[0].size() - i),
                    buffers[0].get() + i);
    const Bytes before[] = {buffers[0].bytes(), buffers[1].bytes(), buffers[2].bytes(),
                            buffers[3].bytes()};
    std::uint8_t *pointers[4];
    for (auto &pointer : pointers) {
        const std::uint8_t byte = choices.byte(), choice = byte % 8;
        const std::size_t own = std::min<std::size_t>(std::size_t(&pointer - pointers), 2);
        if (choice == 7 || !image.usable)
            pointer = nullptr;
        else if (choice == 6)
            pointer = buffers[3].get() + byte / 8U % (most_apart + 1);
        else
            pointer = buffers[choice < 4 ? own : choice % 3].get();
    }
    const auto [input, first, second, third] = pointers;
    const std::uint32_t order = choices.selector(), output_order = choices.selector();
    const std::uint32_t mode = choices.selector();
    const auto type = static_cast<std::int32_t>(choices.selector());
    std::int32_t verdict = -7, status = 0;
    const auto amount = [&] { return static_cast<std::int32_t>(choices.number()); };
    const std::int32_t amounts[] = {amount(), amount(), amount(), amount()};
    const auto any_double = std::bit_cast<double>(std::uint64_t{choices.number()} << 32 | order);
    switch (choices.byte() % 4) {
    case 0:
        status = Oxel_Morvel6_render(input, order, first, output_order, image.width, image.height,
                                     mode, type);
        break;
    case 1:
        status = Oxel_Morvel6_render_All(input, order, first, second, third, nullptr, image.width,
                                         image.height, mode);
        break;
    case 2:
        status = Oxel_Morvel6_render_with_powerGuard(input, order, first, output_order, image.width,
                                                     image.height, mode, type, any_double,
                                                     choices.flag() ? &verdict : nullptr);
        break;
    default:
        status = Oxel_image_adjustment(input, order, first, output_order, image.width, image.height,
                                       amounts[0], amounts[1], amounts[2], amounts[3], any_double);
    }
    for (std::size_t i = 0; i < std::size(before); ++i)
        expect(status == OXEL_SUCCESS || buffers[i].bytes() == before[i]);
    expect(status == OXEL_SUCCESS || verdict == -7 || status == OXEL_BAD_SELECTOR ||
           status == OXEL_NOT_SIX_COLOURS);
}

} // namespace

void fuzz_calls(Choices choices) {
    static const bool adopted = [] {
        Random random(6);
        adopt(random_tables(random, 6).package());
        return true;
    }();
    expect(adopted);
    choose_form(choices);
    call_any(choices);
}

void fuzz_package(Choices choices) {
    // Its tables lie in one another, so that it is as short as it can be.
    static const Bytes prepared = [] {
        Random random(6);
        Bytes bytes = random_bytes(random, 28 + 64 + 2 * cell_count);
        const Bytes indices = random_bytes(random, cell_count + 4, 5);
        bytes.insert(bytes.end(), indices.begin(), indices.end());
        return bytes;
    }();
    static const GuardedBytes buffer(prepared);
    std::copy_n(prepared.data(), prepared.size(), buffer.get());
    const std::uint32_t size =
        choices.flag() ? buffer.size() - choices.byte() : 32U + choices.number() % 2000;
    std::uint8_t *const package = buffer.get() + buffer.size() - size;
    Bytes header(28), trailer(4);
    for (auto &byte : header)
        byte = choices.byte();
    const bool wrong_size = choices.byte() == 1, wrong_crc = choices.byte() == 1;
    put_u32(header, 6, size + wrong_size);
    const std::size_t end = size - 4;
    const std::size_t offsets[] = {29, 29 + 18, end - 3 * cell_count, end - cell_count};
    for (std::size_t table = 0; table < 4; ++table)
        if (const std::uint8_t choice = choices.byte(); choice % 4 != 0)
            put_u32(header, 12 + 4 * table,
                    static_cast<std::uint32_t>(offsets[table] + choice / 4 % 5 - 3));
    std::copy_n(header.data(), header.size(), package);
    for (int i = choices.byte() % 4; i > 0; --i)
        package[28 + choices.number() % (size - 28)] = choices.byte();

    choose_form(choices);
    static std::uint32_t crc;
    crc = size < 4096 ? static_cast<std::uint32_t>(crc32(0, package, size - 4)) : 0;
    put_u32(trailer, 0, crc + wrong_crc);
    std::copy_n(trailer.data(), trailer.size(), package + end);
    oxel::Form knowing = oxel::chosen_form(); // with sanitizers the whole takes 4 ms to read
    knowing.crc32 = [](auto...) { return ~crc; };
    if (size >= 4096)
        oxel::force_form(&knowing);
    const auto status = Oxel_Morvel6_render_init(package, size);
    expect(status == (wrong_crc    ? OXEL_BAD_PACKAGE_CRC
                      : wrong_size ? OXEL_BAD_PACKAGE_LENGTH
                                   : OXEL_SUCCESS));
    choose_form(choices);
    for (int i = 0; i < 3 && status == OXEL_SUCCESS; ++i)
        call_any(choices);
}

void fuzz_transfer(Choices choices) {
    const Image image(choices);
    const GuardedBytes data = image.pixels(0x5A);
    std::copy_n(choices.rest.begin(), std::min<std::size_t>(choices.rest.size(), data.size()),
                data.get());
    const Bytes before = data.bytes();
    std::int32_t width = image.width, height = image.height;
    const auto mode = static_cast<std::int32_t>(choices.selector());
    const auto status = Oxel_TFT_format_transfer(image.usable ? data.get() : nullptr,
                                                 choices.byte() == 1 ? nullptr : &width,
                                                 choices.byte() == 1 ? nullptr : &height, mode);
    if (status != OXEL_SUCCESS)
        expect(data.bytes() == before && width == image.width && height == image.height);
    else
        expect(width >= 0 && height >= 0 &&
               std::int64_t{width} * height <= std::int64_t{image.width} * image.height);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t count) {
    OXEL_FUZZ_TARGET(Choices({bytes, count}));
    return 0;
}
