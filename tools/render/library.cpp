#include "render/library.h"

#include "Oxel_Morvel6_render.h"
#include "base/failure.h"
#include "package_builder/package_builder.h"

#include <algorithm>
#include <array>
#include <new>
#include <numeric>
#include <span>
#include <utility>

namespace oxel::tools {

namespace {

void check(const std::string &panel, std::int32_t status) {
    switch (status) {
    case OXEL_SUCCESS:
        return;
    case OXEL_BAD_PACKAGE_LENGTH:
        throw Failure(panel, "not a LUT package: its length is not the one that it states");
    case OXEL_BAD_PACKAGE_CRC:
        throw Failure(panel, "not a LUT package, or a damaged one: its CRC-32 does not match");
    case OXEL_UNUSABLE_TABLES:
        throw Failure(panel, "unusable LUT package: a table is missing or incomplete");
    case OXEL_OUT_OF_MEMORY:
        throw std::bad_alloc();
    default:
        throw Failure(panel, "the library refused it with status " + std::to_string(status));
    }
}

std::vector<std::string> both_orders(std::span<const std::string> diffusions) {
    std::vector<std::string> names;
    for (const std::string &diffusion : diffusions)
        names.insert(names.end(), {diffusion, diffusion + "-serpentine"});
    return names;
}

} // namespace

const std::vector<std::string> dither_names = both_orders(std::span(tuning_names()).subspan(1));

std::string library_log() {
    std::string log = Oxel_get_updateLog();
    log.erase(log.find_last_not_of('\n') + 1);
    return log;
}

std::string library_version() {
    const std::string log = library_log(); // whose last line ends in v2.2.1
    return log.substr(log.rfind('v') + 1);
}

void adopt_package(const std::string &panel, const Bytes &package) {
    // An oversized package must not wrap round to a small one.
    const auto size = static_cast<std::uint32_t>(std::min<std::size_t>(package.size(), UINT32_MAX));
    check(panel, Oxel_Morvel6_render_init(package.data(), size));
}

Rendering renderings_of_colours(std::size_t count) {
    constexpr std::array<std::uint8_t, 18> pure = {0,   0, 0, 255, 255, 255, 255, 255, 0,
                                                   255, 0, 0, 0,   255, 0,   0,   0,   255};
    Rendering rendering{Bytes(3 * count), Bytes(3 * count), Bytes(3 * count)};
    for (std::size_t i = 0; i < count; ++i)
        std::fill_n(&rendering.tcon[3 * i], 3, TCON_INDEX_TABLE[i]);
    if (rendering.nominal.size() == pure.size()) // the library's panels of six colours
        std::copy(pure.begin(), pure.end(), rendering.nominal.begin());
    std::copy_n(EO_RGB_color, 3 * count, rendering.measured.begin());
    return rendering;
}

Rendering render(const std::string &panel, const Bytes &rgb, ImageSize size, int dithering_mode,
                 const Forms &wanted) {
    Rendering rendering;
    const auto render_to = [&](int type, Bytes &output) {
        output.resize(rgb.size());
        check(panel,
              Oxel_Morvel6_render(rgb.data(), ORDER_RGB, output.data(), ORDER_RGB, size.width,
                                  size.height, static_cast<std::uint32_t>(dithering_mode), type));
        return std::move(rendering);
    };
    if (!wanted.nominal && !wanted.measured)
        return render_to(OUTPUT_TCON_CODE, rendering.tcon);
    if (!wanted.tcon && !wanted.nominal)
        return render_to(OUTPUT_EO_RGB, rendering.measured);
    rendering = {Bytes(rgb.size()), Bytes(rgb.size()), Bytes(rgb.size())};
    check(panel, Oxel_Morvel6_render_All(rgb.data(), ORDER_RGB, rendering.tcon.data(),
                                         rendering.nominal.data(), rendering.measured.data(),
                                         nullptr, size.width, size.height,
                                         static_cast<std::uint32_t>(dithering_mode)));
    return rendering;
}

int render_guarded(const std::string &panel, const Bytes &rgb, ImageSize size, int dithering_mode,
                   double threshold, int output_type, Bytes &output) {
    std::int32_t verdict = 0;
    output.resize(rgb.size());
    check(panel, Oxel_Morvel6_render_with_powerGuard(
                     rgb.data(), ORDER_RGB, output.data(), ORDER_RGB, size.width, size.height,
                     static_cast<std::uint32_t>(dithering_mode), output_type, threshold, &verdict));
    return verdict;
}

void write_indices_for_codes() {
    static std::array<std::uint8_t, 256> indices;
    std::iota(indices.begin(), indices.end(), std::uint8_t{0});
    TCON_INDEX_TABLE = indices.data();
}

void adjust(Bytes &rgb, ImageSize size, const Adjustment &amounts) {
    check("adjustment",
          Oxel_image_adjustment(rgb.data(), ORDER_RGB, rgb.data(), ORDER_RGB, size.width,
                                size.height, amounts.hue, amounts.saturation, amounts.brightness,
                                amounts.contrast, amounts.gamma));
}

void apply_layout(const std::string &panel, int layout, Bytes &image, ImageSize &size) {
    if (layout == 0)
        return;
    const ImageSize whole = size;
    check(panel, Oxel_TFT_format_transfer(image.data(), &size.width, &size.height, layout));
    if (size.pixels() != whole.pixels())
        throw Failure(panel, "tft_layout " + std::to_string(layout) +
                                 " would drop an odd row or column of " + whole.text());
}

ImageSize layout_size(int layout, ImageSize size) {
    switch (layout) {
    case TFT_PAIR_MERGE_UPPER_FIRST:
    case TFT_PAIR_MERGE_LOWER_FIRST:
        return {2 * size.width, size.height / 2};
    case TFT_HSD_ODD_EVEN:
    case TFT_HSD_EVEN_ODD:
        return {size.width / 2, 2 * size.height};
    default:
        return size;
    }
}

void undo_layout(const std::string &panel, int layout, Bytes &frame, ImageSize &size) {
    static constexpr int inverse[] = {0,
                                      TFT_HSD_ODD_EVEN,
                                      TFT_HSD_EVEN_ODD,
                                      TFT_PAIR_SWAP,
                                      TFT_PAIR_MERGE_UPPER_FIRST,
                                      TFT_PAIR_MERGE_LOWER_FIRST};
    apply_layout(panel, inverse[layout], frame, size);
}

} // namespace oxel::tools
