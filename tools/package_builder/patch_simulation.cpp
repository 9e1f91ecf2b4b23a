#include "package_builder/patch_simulation.h"

#include "diffusion_kernel.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace oxel::tools {

namespace {

constexpr std::size_t lanes = PatchSimulation::lanes;
constexpr std::size_t pixel_values = 3 * lanes; // channel by channel

/// A share in 16 bits, which compilers turn into vector instructions; the kernel's own if `exact`
/// holds.
template <const DiffusionKernel &kernel>
constexpr std::int16_t share(int weight, int error) {
    const auto weighted = static_cast<std::int16_t>(weight * error);
    if constexpr (kernel.floors)
        return static_cast<std::int16_t>(weighted >> std::countr_zero(unsigned(kernel.divisor)));
    constexpr std::int16_t reciprocal = 65536 / kernel.divisor + 1;
    const auto quotient = static_cast<std::int16_t>(weighted * reciprocal >> 16);
    return static_cast<std::int16_t>(quotient + (weighted < 0 ? 1 : 0));
}

template <const DiffusionKernel &kernel>
constexpr bool exact() {
    for (int row = 0; row < kernel.rows; ++row)
        for (int column = 0; column < DiffusionKernel::columns; ++column)
            for (int error = -255; error <= 255; ++error)
                if (share<kernel>(kernel.weights[row][column], error) !=
                    kernel.share(row, column, error))
                    return false;
    return true;
}

template <const DiffusionKernel &kernel>
class Diffusion {
  public:
    Diffusion(std::span<const std::uint8_t> quantisation,
              const std::vector<std::array<std::int16_t, 3>> &palette, int width)
        : quantisation_(quantisation), palette_(palette), width_(width),
          row_values_(pixel_values * std::size_t(width + 2 * kernel.reach)),
          values_(std::size_t(kernel.rows) * row_values_) {
        for (int row = 0; row < kernel.rows; ++row)
            rows_[row] = values_.data() + std::size_t(row) * row_values_;
    }

    /// Adds the image to the row about to be scanned: one pixel, everywhere.
    void load(const std::int16_t (&pixel)[pixel_values]) {
        for (int x = 0; x < width_; ++x)
            for (std::size_t i = 0; i < pixel_values; ++i)
                at(0, x)[i] = static_cast<std::int16_t>(at(0, x)[i] + pixel[i]);
    }

    /// Calls `chosen` with the column and the lanes' palette indices of each pixel of the row.
    template <int direction, class Chosen>
    void scan(Chosen chosen) {
        for (int step = 0; step < width_; ++step) {
            const int x = direction > 0 ? step : width_ - 1 - step;
            std::int16_t error[pixel_values];
            std::uint8_t indices[lanes];
            quantise(at(0, x), error, indices);
            chosen(x, indices);
            spread<direction>(x, error);
        }
    }

    void advance() {
        std::rotate(rows_, rows_ + 1, rows_ + kernel.rows);
        std::fill_n(rows_[kernel.rows - 1], row_values_, std::int16_t{0});
    }

  private:
    std::int16_t *at(int row, int x) {
        return rows_[row] + pixel_values * std::size_t(x + kernel.reach);
    }

    void quantise(const std::int16_t *values, std::int16_t (&error)[pixel_values],
                  std::uint8_t (&indices)[lanes]) const {
        std::int16_t clamped[pixel_values];
        for (std::size_t i = 0; i < pixel_values; ++i)
            clamped[i] = std::min<std::int16_t>(std::max<std::int16_t>(values[i], 0), 255);
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            const auto cell = static_cast<std::size_t>(clamped[lane] >> 2 << 12 |
                                                       clamped[lanes + lane] >> 2 << 6 |
                                                       clamped[2 * lanes + lane] >> 2);
            indices[lane] = quantisation_[cell];
            for (std::size_t channel = 0; channel < 3; ++channel)
                error[channel * lanes + lane] = palette_[indices[lane]][channel];
        }
        for (std::size_t i = 0; i < pixel_values; ++i)
            error[i] = static_cast<std::int16_t>(clamped[i] - error[i]);
    }

    /// Each share on its own, with its weight known to the compiler.
    template <int direction>
    void spread(int x, const std::int16_t (&error)[pixel_values]) {
        constexpr int columns = DiffusionKernel::columns;
        [&]<int... place>(std::integer_sequence<int, place...>) {
            (add_share<direction, place / columns, place % columns>(x, error), ...);
        }
        (std::make_integer_sequence<int, kernel.rows * columns>());
    }

    template <int direction, int row, int column>
    void add_share(int x, const std::int16_t (&error)[pixel_values]) {
        constexpr int weight = kernel.weights[row][column];
        if constexpr (weight != 0) {
            std::int16_t *const neighbour = at(row, x + direction * (column - kernel.centre));
            for (std::size_t i = 0; i < pixel_values; ++i)
                neighbour[i] =
                    static_cast<std::int16_t>(neighbour[i] + share<kernel>(weight, error[i]));
        }
    }

    std::span<const std::uint8_t> quantisation_;
    const std::vector<std::array<std::int16_t, 3>> &palette_;
    int width_;
    std::size_t row_values_;
    std::vector<std::int16_t> values_;
    std::int16_t *rows_[kernel.rows] = {};
};

using Counts = std::vector<std::array<std::uint32_t, lanes>>; // by palette index

template <const DiffusionKernel &kernel>
void simulate(Diffusion<kernel> diffusion, bool serpentine,
              const std::int16_t (&pixel)[pixel_values], PatchSimulation::Area area,
              Counts &counts) {
    static_assert(exact<kernel>());
    const auto inside = [&](int i) { return i >= area.border && i < area.size - area.border; };
    for (int y = 0; y < area.size; ++y) {
        const auto count = [&](int x, const std::uint8_t(&indices)[lanes]) {
            if (inside(x) && inside(y))
                for (std::size_t lane = 0; lane < lanes; ++lane)
                    ++counts[indices[lane]][lane];
        };
        diffusion.load(pixel);
        if (serpentine && y % 2 != 0)
            diffusion.template scan<-1>(count);
        else
            diffusion.template scan<1>(count);
        diffusion.advance();
    }
}

} // namespace

PatchSimulation::PatchSimulation(const Characterisation &panel,
                                 std::span<const std::uint8_t> quantisation)
    : quantisation_(quantisation), lights_(panel.lights()) {
    for (const RgbBytes &rgb : panel.palette())
        palette_.push_back({rgb[0], rgb[1], rgb[2]});
}

std::vector<Vector3> PatchSimulation::mean_light(int dithering_mode,
                                                 std::span<const RgbBytes> bytes, Area area) const {
    std::int16_t pixel[pixel_values];
    for (std::size_t i = 0; i < pixel_values; ++i)
        pixel[i] = bytes[std::min(i % lanes, bytes.size() - 1)][i / lanes];
    Counts counts(palette_.size());
    const bool serpentine = dithering_mode % 2 != 0;
    switch (dithering_mode / 2) {
    case 0:
        simulate<floyd_steinberg>({quantisation_, palette_, area.size}, serpentine, pixel, area,
                                  counts);
        break;
    case 1:
        simulate<jarvis_judice_ninke>({quantisation_, palette_, area.size}, serpentine, pixel, area,
                                      counts);
        break;
    default:
        simulate<stucki>({quantisation_, palette_, area.size}, serpentine, pixel, area, counts);
    }
    std::vector<Vector3> lights(bytes.size());
    const double pixels = double(area.size - 2 * area.border) * (area.size - 2 * area.border);
    for (std::size_t lane = 0; lane < bytes.size(); ++lane)
        for (std::size_t index = 0; index < palette_.size(); ++index)
            if (const std::uint32_t count = counts[index][lane])
                lights[lane] = lights[lane] + (double(count) / pixels) * lights_[index];
    return lights;
}

} // namespace oxel::tools
