#include "power_guard.h"

#include "Oxel_Morvel6_render.h"
#include "destination.h"
#include "forms/forms.h"
#include "heap_bytes.h"
#include "library_state.h"
#include "render_pipeline.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "exact_double.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

constexpr int index_count = 256; // of all that a byte can hold

/// The share of each of the first `colours` indices among the two rows from `pair` on.
void pair_shares(const std::uint8_t *pair, std::int32_t width, int colours, double *shares) {
    std::int32_t counts[index_count] = {};
    const std::int64_t pixels = 2 * std::int64_t{width};
    if (pixels > 0)
        chosen_form().count_indices(pair, static_cast<std::size_t>(pixels), colours, counts);
    for (int index = 0; index < colours; ++index)
        shares[index] = counts[index] / static_cast<double>(pixels);
}

/// Adds squares in the order in which the numbers come, but takes the squares of many at once.
class SumOfSquares {
  public:
    void add(double number) {
        if (pending_count_ == std::size(pending_))
            add_pending();
        pending_[pending_count_++] = number;
    }

    double sum() {
        add_pending();
        return sum_;
    }

  private:
    void add_pending() {
        chosen_form().power(pending_, pending_count_, 2.0);
        for (std::size_t i = 0; i < pending_count_; ++i)
            sum_ = sum_ + pending_[i];
        pending_count_ = 0;
    }

    double sum_ = 0.0;
    std::size_t pending_count_ = 0;
    double pending_[256];
};

} // namespace

double calculate_difference_of_central_tendency(const std::uint8_t *index_plane, std::int32_t width,
                                                std::int32_t height) {
    // Pairs without pixels are all alike.
    const std::int32_t pairs = width > 0 ? height / 2 : std::min(height / 2, 2);
    if (pairs <= 1)
        return 0.0;
    const int colours = std::min<int>(COLOR_NUMBER, index_count);
    const std::ptrdiff_t pair_stride = 2 * std::ptrdiff_t{std::max(width, 0)};

    double share_rows[2][index_count];
    double *above = share_rows[0];
    double *shares = share_rows[1];
    pair_shares(index_plane, width, colours, above);
    SumOfSquares squares;
    for (std::int32_t pair = 1; pair < pairs; ++pair) {
        pair_shares(index_plane + pair * pair_stride, width, colours, shares);
        for (int index = 0; index < colours; ++index)
            squares.add(shares[index] - above[index]);
        std::swap(above, shares);
    }
    return squares.sum();
}

namespace {

struct GuardedDithering {
    std::int32_t status;
    std::int32_t verdict;
};

/// Renders, measures, and if need be does so again, and leaves in `index_plane` the indices that
/// the verdict stands for. An empty input has none; it is measured all the same.
GuardedDithering dither_guarded(const Input &input, std::uint32_t dithering_mode,
                                double power_threshold, std::uint8_t *index_plane) {
    constexpr std::int32_t verdicts[] = {GUARD_PASSED, GUARD_PASSED_SHIFTED};
    const auto [width, height] = input.size;
    const Destination plane{.width = width, .plane = index_plane};
    for (std::int32_t rows_down = 0; rows_down < 2; ++rows_down) {
        if (!input.size.empty())
            if (const auto failure = diffuse_input(input, dithering_mode, rows_down, plane))
                return {failure, GUARD_BLANKED};
        if (calculate_difference_of_central_tendency(index_plane, width, height) < power_threshold)
            return {OXEL_SUCCESS, verdicts[rows_down]};
    }
    std::fill_n(index_plane, input.size.pixels(), std::uint8_t{0});
    return {OXEL_SUCCESS, GUARD_BLANKED};
}

} // namespace

} // namespace oxel

int32_t Oxel_Morvel6_render_with_powerGuard(const uint8_t *input_image, uint32_t rgb_order,
                                            uint8_t *output_image, uint32_t output_order,
                                            int32_t width, int32_t height, uint32_t dithering_mode,
                                            int32_t output_type, double power_threshold,
                                            int32_t *guard_result) noexcept {
    using namespace oxel;
    const Input input{input_image, rgb_order, {width, height}};
    const Output outputs[] = {{output_image, output_order, output_type}};
    if (const auto refusal = check_render(input, dithering_mode, outputs))
        return refusal;
    const auto index_plane = HeapBytes::uninitialised(input.size.pixels());
    if (!index_plane && !input.size.empty())
        return OXEL_OUT_OF_MEMORY;
    const auto [failure, verdict] =
        dither_guarded(input, dithering_mode, power_threshold, index_plane.get());
    if (failure)
        return failure;
    if (guard_result)
        *guard_result = verdict;
    if (!input.size.empty())
        deliver(images_of(outputs, input.size), 0, 0, index_plane.get(),
                static_cast<std::int32_t>(input.size.pixels()));
    return output_status(outputs[0], input.size);
}

#include "exact_double_end.h"
