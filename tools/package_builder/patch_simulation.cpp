#include "package_builder/patch_simulation.h"

#include "diffusion_kernel.h"
#include "package_builder/cells.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

namespace oxel::tools {

namespace {

/// A pixel of two patches: red, green, blue and an idle 0 of each, in two's complement. Compilers
/// make vector instructions of this, for whatever processor has some.
typedef std::uint16_t Words __attribute__((vector_size(16)));
typedef std::int16_t SignedWords __attribute__((vector_size(16)));
/// The same, a patch a number, with red in the lowest bits.
typedef std::uint64_t Quads __attribute__((vector_size(16)));

static_assert(dithering_modes == oxel::dithering_modes);

constexpr std::size_t patches_a_pair = 2;

std::uint64_t quad(const RgbBytes &rgb) {
    return std::uint64_t{rgb[2]} << 32 | std::uint64_t{rgb[1]} << 16 | rgb[0];
}

/// All signed: GCC 12 vectorises an unsigned product of sign-extended words wrongly.
constexpr std::int16_t high_product(std::int16_t word, int factor) {
    return static_cast<std::int16_t>(word * factor >> 16);
}

template <std::size_t... word>
SignedWords high_product(SignedWords words, int factor, std::index_sequence<word...>) {
    return SignedWords{high_product(words[word], factor)...};
}

template <const DiffusionKernel &kernel>
Words share(Words error, int weight) {
    const auto product = std::bit_cast<Words>(high_product(std::bit_cast<SignedWords>(error),
                                                           share_factor(kernel, weight),
                                                           std::make_index_sequence<8>()));
    return kernel.floors ? product : product + (error >> 15);
}

struct Tables {
    const std::uint8_t *quantisation;
    const std::uint64_t *palette;
};

using Indices = std::array<std::uint8_t, patches_a_pair>;

constexpr std::size_t thresholds = DitheredBytes::thresholds;
constexpr int threshold_width = grid_steps / int(thresholds); // of the preparation's
constexpr std::size_t noise_size = 96;                        // it repeats in larger patches

constexpr int middle_of(std::size_t threshold) {
    return threshold_width * int(threshold) + threshold_width / 2;
}

std::uint8_t threshold_at(std::size_t x, std::size_t y) {
    static const std::vector<std::uint8_t> noise = [] {
        std::vector<std::uint8_t> levels;
        for (std::size_t place = 0; place < noise_size * noise_size; ++place)
            levels.push_back(std::uint8_t(grid_threshold(std::uint32_t(place % noise_size),
                                                         std::uint32_t(place / noise_size)) /
                                          threshold_width));
        return levels;
    }();
    return noise[y % noise_size * noise_size + x % noise_size];
}

/// Chooses the palette indices of accumulated values. Returns the errors.
Words quantise(Words value, const Tables &tables, Indices &indices) {
    auto clamped = std::bit_cast<SignedWords>(value);
    constexpr SignedWords least{}, most = SignedWords{} + std::int16_t{255};
    clamped = clamped > least ? clamped : least;
    clamped = clamped < most ? clamped : most;
    const auto channels = std::bit_cast<Quads>(clamped >> 2);
    const Quads cells = (channels << 12 | channels >> 10 | channels >> 32) & 0x3FFFF;
    indices = {tables.quantisation[cells[0]], tables.quantisation[cells[1]]};
    const Quads chosen = {tables.palette[indices[0]], tables.palette[indices[1]]};
    return std::bit_cast<Words>(clamped) - std::bit_cast<Words>(chosen);
}

/// Diffuses flat patches, row by row.
template <const DiffusionKernel &kernel>
class Diffusion {
  public:
    /// `pixels` are the patches' colours, two by two, for each threshold.
    Diffusion(const Tables &tables, const std::vector<Quads> &pixels, int width)
        : tables_(tables), pixels_(pixels), pairs_(pixels.size() / thresholds),
          width_(std::size_t(width)) {
        for (std::vector<Words> &received : received_)
            received.resize(width_ * pairs_);
        for (int weight = 1; weight <= kernel.heaviest; ++weight)
            if (kernel.has_weight(weight))
                shares_[weight].resize((width_ + 2 * kernel.reach) * pairs_);
    }

    /// Calls `chosen` with the column, the pair and the palette indices of each pixel of row
    /// `y`, the next. A scan to the left (`direction` -1) has the kernel mirrored.
    template <int direction, class Chosen>
    void scan(std::size_t y, Chosen chosen) {
        for (std::size_t step = 0; step < width_; ++step) {
            const std::size_t x = direction > 0 ? step : width_ - 1 - step;
            const Quads *const pixels = &pixels_[threshold_at(x, y) * pairs_];
            for (std::size_t pair = 0; pair < pairs_; ++pair) {
                const std::size_t place = x * pairs_ + pair;
                Indices indices;
                const Words value = std::bit_cast<Words>(pixels[pair]) + received_[0][place] +
                                    shares<direction, 0>(place);
                hand_out(quantise(value, tables_, indices), place);
                chosen(x, pair, indices);
            }
        }
        for (std::size_t place = 0; place < received_[0].size(); ++place) {
            received_[0][place] = received_[1][place] + shares<direction, 1>(place);
            received_[1][place] = shares<direction, 2>(place);
        }
    }

  private:
    void hand_out(Words error, std::size_t place) {
        [&]<int... i>(std::integer_sequence<int, i...>) {
            (hand_out_by<i + 1>(error, place), ...);
        }(std::make_integer_sequence<int, kernel.heaviest>());
    }

    template <int weight>
    void hand_out_by(Words error, std::size_t place) {
        if constexpr (kernel.has_weight(weight))
            shares_[weight][place + kernel.reach * pairs_] = share<kernel>(error, weight);
    }

    /// What the pixels just scanned hand to a place that many rows below.
    template <int direction, int row>
    Words shares(std::size_t place) const {
        return [&]<int... column>(std::integer_sequence<int, column...>) {
            return (share_of<direction, row, column>(place) + ...);
        }(std::make_integer_sequence<int, DiffusionKernel::columns>());
    }

    template <int direction, int row, int column>
    Words share_of(std::size_t place) const {
        constexpr int weight = kernel.weights[row][column];
        constexpr int giver = kernel.reach + direction * (kernel.centre - column);
        if constexpr (weight == 0)
            return Words{};
        else
            return shares_[weight][place + std::size_t(giver) * pairs_];
    }

    const Tables &tables_;
    const std::vector<Quads> &pixels_;
    std::size_t pairs_;
    std::size_t width_;
    std::vector<Words> received_[2]; // by the next row to be scanned and the one below
    std::vector<Words> shares_[kernel.heaviest + 1]; // of the last row, by weight; 0 at its sides
};

/// By patch, block and palette index.
using Counts = std::vector<std::uint32_t>;

template <const DiffusionKernel &kernel>
Counts simulate(const Tables &tables, const std::vector<Quads> &pixels, bool serpentine,
                PatchSimulation::Area area, std::size_t colours) {
    const std::size_t blocks = std::size_t(area.blocks);
    const std::size_t block_size = std::size_t(area.size - 2 * area.border) / blocks;
    Counts counts(patches_a_pair * (pixels.size() / thresholds) * blocks * blocks * colours);
    const auto inside = [&](int i) { return i >= area.border && i < area.size - area.border; };
    Diffusion<kernel> diffusion(tables, pixels, area.size);
    for (int y = -area.lead; y < area.size - area.border; ++y) {
        const auto count = [&](std::size_t x, std::size_t pair, const Indices &indices) {
            if (!inside(int(x)) || !inside(y))
                return;
            const std::size_t row = std::size_t(y - area.border) / block_size;
            const std::size_t column = (x - std::size_t(area.border)) / block_size;
            for (std::size_t i = 0; i < indices.size(); ++i) {
                const std::size_t patch = patches_a_pair * pair + i;
                ++counts[((patch * blocks + row) * blocks + column) * colours + indices[i]];
            }
        };
        const int scanned = y + area.lead;
        if (serpentine && scanned % 2 != 0)
            diffusion.template scan<-1>(std::size_t(scanned), count);
        else
            diffusion.template scan<1>(std::size_t(scanned), count);
    }
    return counts;
}

} // namespace

Vector3 mean(std::span<const Vector3> vectors) {
    Vector3 sum{};
    for (const Vector3 &vector : vectors)
        sum = sum + vector;
    return 1 / double(vectors.size()) * sum;
}

DitheredBytes::DitheredBytes(const Vector3 &rgb) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const double value = std::clamp(rgb[channel], 0.0, 255.0);
        const int rest = static_cast<int>(std::max(value - 1.5, 0.0)) % 4;
        const auto place = static_cast<int>(grid_steps * (value - rest) / 4 + 0.5);
        for (std::size_t threshold = 0; threshold < thresholds; ++threshold)
            by_threshold_[threshold][channel] =
                static_cast<std::uint8_t>(4 * grid_cell(place, middle_of(threshold)) + rest);
    }
}

DitheredBytes::DitheredBytes(std::span<const RgbBytes, cell_steps> greys, double place) {
    for (std::size_t threshold = 0; threshold < thresholds; ++threshold)
        by_threshold_[threshold] = greys[std::size_t(
            grid_cell(static_cast<int>(grid_steps * place + 0.5), middle_of(threshold)))];
}

DitheredBytes::DitheredBytes(std::span<const std::uint8_t> gamut_table, Grid grid,
                             const RgbBytes &colour) {
    for (std::size_t threshold = 0; threshold < thresholds; ++threshold) {
        std::size_t cell = 0;
        for (const std::uint8_t byte : colour)
            cell = cell_steps * cell +
                   std::size_t(grid_cell(grid_place(grid, 256 * byte), middle_of(threshold)));
        std::copy_n(&gamut_table[3 * cell], 3, by_threshold_[threshold].begin());
    }
}

PatchSimulation::PatchSimulation(const Characterisation &panel,
                                 std::span<const std::uint8_t> quantisation)
    : quantisation_(quantisation), lights_(panel.lights()) {
    std::transform(panel.palette().begin(), panel.palette().end(), palette_.begin(), quad);
}

std::vector<std::vector<Vector3>>
PatchSimulation::block_lights(int dithering_mode, std::span<const DitheredBytes> colours,
                              Area area) const {
    const std::size_t pairs = (colours.size() + 1) / patches_a_pair;
    std::vector<Quads> pixels(pairs * thresholds);
    for (std::size_t i = 0; i < colours.size(); ++i)
        for (std::size_t threshold = 0; threshold < thresholds; ++threshold)
            pixels[threshold * pairs + i / patches_a_pair][i % patches_a_pair] =
                quad(colours[i].at(threshold));
    const auto kernel_of_mode = static_cast<Kernel>(dithering_mode / 2);
    const Counts counts = with_kernel(kernel_of_mode, [&]<const DiffusionKernel & kernel>() {
        return simulate<kernel>({quantisation_.data(), palette_.data()}, pixels,
                                dithering_mode % 2 != 0, area, lights_.size());
    });
    const std::size_t blocks = std::size_t(area.blocks) * std::size_t(area.blocks);
    const double block_side = double(area.size - 2 * area.border) / area.blocks;
    std::vector<std::vector<Vector3>> patches(colours.size(), std::vector<Vector3>(blocks));
    auto count = counts.begin();
    for (std::vector<Vector3> &patch : patches)
        for (Vector3 &block : patch)
            for (const Vector3 &light : lights_)
                if (const std::uint32_t pixel_count = *count++)
                    block = block + (double(pixel_count) / (block_side * block_side)) * light;
    return patches;
}

std::vector<Vector3> PatchSimulation::mean_light(int dithering_mode,
                                                 std::span<const DitheredBytes> colours,
                                                 Area area) const {
    std::vector<Vector3> lights;
    for (const std::vector<Vector3> &blocks : block_lights(dithering_mode, colours, area))
        lights.push_back(mean(blocks));
    return lights;
}

} // namespace oxel::tools
