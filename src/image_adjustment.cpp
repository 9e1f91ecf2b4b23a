#include "Oxel_Morvel6_render.h"
#include "adjustment.h"
#include "forms/forms.h"
#include "image_size.h"
#include "numeric_helpers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "exact_double.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// A small hue with the same effect on all colours. Sums of hues are truncated toward zero, so a
/// hue that makes them all negative must stay below -360.
std::int32_t shortest_turn(std::int32_t hue) {
    return hue <= -360 ? hue % 360 - 360 : hue % 360;
}

/// The gamma curve as a table of bytes. Each power is costly, so only those are worked out that
/// some byte needs.
class GammaCurve {
  public:
    explicit GammaCurve(double gamma) : gamma_(gamma) {}

    void apply(std::uint8_t *bytes, std::size_t count) {
        if (!complete_)
            learn(bytes, count);
        chosen_form().map_bytes(bytes, count, curve_);
    }

  private:
    void learn(const std::uint8_t *bytes, std::size_t count) {
        bool occurs[256] = {};
        for (std::size_t i = 0; i < count; ++i)
            occurs[bytes[i]] = true;
        double powers[256];
        std::uint8_t learnt[256];
        std::size_t learnt_count = 0;
        for (int byte = 0; byte < 256; ++byte)
            if (occurs[byte] && !known_[byte]) {
                powers[learnt_count] = byte / 255.0;
                learnt[learnt_count++] = static_cast<std::uint8_t>(byte);
            }
        chosen_form().power(powers, learnt_count, gamma_);
        for (std::size_t i = 0; i < learnt_count; ++i) {
            const double product = powers[i] * 255.0;
            curve_[learnt[i]] = truncates_to_int32(product)
                                    ? static_cast<std::uint8_t>(static_cast<std::int32_t>(product))
                                    : std::uint8_t{0};
            known_[learnt[i]] = true;
        }
        complete_ = std::all_of(known_, known_ + 256, [](bool known) { return known; });
    }

    double gamma_;
    bool complete_ = false;
    bool known_[256] = {};
    std::uint8_t curve_[256] = {};
};

} // namespace

} // namespace oxel

int32_t Oxel_image_adjustment(const uint8_t *input_image, uint32_t rgb_order, uint8_t *output_image,
                              uint32_t output_order, int32_t width, int32_t height, int32_t hue,
                              int32_t saturation, int32_t brightness, int32_t contrast,
                              double gamma) noexcept {
    using namespace oxel;
    const ImageSize size{width, height};
    if (size.empty())
        return OXEL_SUCCESS;
    if (rgb_order > ORDER_BGR)
        return OXEL_BAD_SELECTOR;
    const bool writes = output_order <= ORDER_BGR;
    if (!size.supported() || !input_image || (writes && !output_image))
        return OXEL_BAD_ARGUMENT;
    if (!writes)
        return OXEL_SUCCESS;

    const Adjustment adjustment{shortest_turn(hue), saturation / 100.0, contrast / 50.0 + 1.0,
                                contrast / 100.0, brightness / 100.0};
    GammaCurve curve(gamma);
    constexpr std::size_t run_length = 4096; // pixels, still cached when the gamma curve comes
    for (std::size_t start = 0; start < size.pixels(); start += run_length) {
        const PixelRun run{input_image + 3 * start, rgb_order == ORDER_RGB ? 0U : 2U,
                           output_image + 3 * start, output_order == ORDER_RGB ? 0U : 2U,
                           std::min(run_length, size.pixels() - start)};
        chosen_form().adjust(run, adjustment);
        if (gamma != 1.0)
            curve.apply(run.output, 3 * run.count);
    }
    return OXEL_SUCCESS;
}

#include "exact_double_end.h"
