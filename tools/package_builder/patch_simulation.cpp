#include "package_builder/patch_simulation.h"

#include "diffusion_kernel.h"
#include "package_builder/cells.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <string_view>
#include <utility>

namespace oxel::tools {

namespace {

/// One channel of a pixel of eight patches. Compilers make vector instructions of this, for
/// whatever processor has some.
typedef std::int16_t Words __attribute__((vector_size(16)));
constexpr std::size_t patches_together = 8;
static_assert(PatchSimulation::lanes % patches_together == 0);

/// Of eight patches: red, green and blue.
using Pixel = std::array<Words, 3>;

static_assert(dithering_modes == oxel::dithering_modes);

/// All signed: GCC 12 vectorises an unsigned product of sign-extended words wrongly.
constexpr std::int16_t high_product(std::int16_t word, int factor) {
    return static_cast<std::int16_t>(word * factor >> 16);
}

template <std::size_t... word>
Words high_product(Words words, int factor, std::index_sequence<word...>) {
    return Words{high_product(words[word], factor)...};
}

template <const DiffusionKernel &kernel>
Words share(Words error, int weight) {
    const Words product = high_product(error, share_factor(kernel, weight),
                                       std::make_index_sequence<patches_together>());
    return kernel.floors ? product : product - (error >> 15);
}

struct Tables {
    const std::uint8_t *quantisation;
    const std::uint64_t *palette; // words of red, green, blue and an idle 0, in memory's order
};

using Indices = std::array<std::uint8_t, patches_together>;

constexpr std::size_t thresholds = DitheredBytes::thresholds;
constexpr std::size_t noise_size = 96; // it repeats in larger patches

constexpr int middle_of(std::size_t threshold) {
    return (2 * int(threshold) + 1) * grid_steps / (2 * int(thresholds));
}

/// Of the pixels of a row, the first `noise_size`.
const std::uint8_t *thresholds_of_row(std::size_t y) {
    static const std::vector<std::uint8_t> noise = [] {
        std::vector<std::uint8_t> levels;
        for (std::size_t place = 0; place < noise_size * noise_size; ++place)
            levels.push_back(std::uint8_t(grid_threshold(std::uint32_t(place % noise_size),
                                                         std::uint32_t(place / noise_size)) *
                                          int(thresholds) / grid_steps));
        return levels;
    }();
    return &noise[y % noise_size * noise_size];
}

/// The places of eight colours in the table of palette indices.
std::array<std::uint32_t, patches_together> cells_of(const Pixel &clamped) {
    const Words low = (clamped[0] >> 2) << 12 | (clamped[1] >> 2) << 6 | clamped[2] >> 2;
    const Words high = clamped[0] >> 6;
    constexpr bool little = std::endian::native == std::endian::little;
    const Words first = little ? low : high, second = little ? high : low;
    return std::bit_cast<std::array<std::uint32_t, patches_together>>(
        std::array{__builtin_shufflevector(first, second, 0, 8, 1, 9, 2, 10, 3, 11),
                   __builtin_shufflevector(first, second, 4, 12, 5, 13, 6, 14, 7, 15)});
}

/// Two palette colours, side by side.
Words two_of(const Tables &tables, std::uint8_t one, std::uint8_t other) {
    typedef std::uint64_t Quads __attribute__((vector_size(16)));
    return std::bit_cast<Words>(Quads{tables.palette[one], tables.palette[other]});
}

/// The palette colours of eight patches.
[[gnu::always_inline]] inline Pixel chosen_by(const Tables &tables, const Indices &indices) {
    const Words a = two_of(tables, indices[0], indices[4]);
    const Words b = two_of(tables, indices[1], indices[5]);
    const Words c = two_of(tables, indices[2], indices[6]);
    const Words d = two_of(tables, indices[3], indices[7]);
    const Words ab = __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11); // red, green, blue
    const Words cd = __builtin_shufflevector(c, d, 0, 8, 1, 9, 2, 10, 3, 11);
    const Words ef = __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
    const Words gh = __builtin_shufflevector(c, d, 4, 12, 5, 13, 6, 14, 7, 15);
    const Words first = __builtin_shufflevector(ab, cd, 0, 1, 8, 9, 2, 3, 10, 11); // red, green
    const Words last = __builtin_shufflevector(ef, gh, 0, 1, 8, 9, 2, 3, 10, 11);
    const Words blue = __builtin_shufflevector(ab, cd, 4, 5, 12, 13, 6, 7, 14, 15);
    const Words last_blue = __builtin_shufflevector(ef, gh, 4, 5, 12, 13, 6, 7, 14, 15);
    return {__builtin_shufflevector(first, last, 0, 1, 2, 3, 8, 9, 10, 11),
            __builtin_shufflevector(first, last, 4, 5, 6, 7, 12, 13, 14, 15),
            __builtin_shufflevector(blue, last_blue, 0, 1, 2, 3, 8, 9, 10, 11)};
}

/// Chooses the palette indices of accumulated values. Returns the errors.
[[gnu::always_inline]] inline Pixel quantise(Pixel value, const Tables &tables, Indices &indices) {
    constexpr Words least{}, most = Words{} + std::int16_t{255};
    for (Words &channel : value) {
        channel = channel > least ? channel : least;
        channel = channel > most ? most : channel;
    }
    const auto cells = cells_of(value);
    for (std::size_t i = 0; i < patches_together; ++i)
        indices[i] = tables.quantisation[cells[i]];
    const Pixel chosen = chosen_by(tables, indices);
    return {value[0] - chosen[0], value[1] - chosen[1], value[2] - chosen[2]};
}

/// Diffuses flat patches, row by row.
template <const DiffusionKernel &kernel>
class Diffusion {
  public:
    /// `pixels` are the patches' colours, eight by eight, for each threshold.
    Diffusion(const Tables &tables, const std::vector<Pixel> &pixels, int width)
        : tables_(tables), pixels_(pixels), lots_(pixels.size() / thresholds),
          width_(std::size_t(width)) {
        for (std::vector<Pixel> &received : received_)
            received.resize(width_ * lots_);
        for (int weight = 1; weight <= kernel.heaviest; ++weight)
            if (kernel.has_weight(weight))
                shares_[weight].resize((width_ + 2 * kernel.reach) * lots_);
    }

    /// Row `y`, the next. A scan to the left (`direction` -1) has the kernel mirrored. `counts`
    /// has, for each column, where its patches' indices are counted, or null.
    template <int direction>
    void scan(std::size_t y, const std::vector<std::uint32_t *> &counts) {
        const std::uint8_t *const row_thresholds = thresholds_of_row(y);
        for (std::size_t step = 0; step < width_; ++step) {
            const std::size_t x = direction > 0 ? step : width_ - 1 - step;
            const Pixel *const pixels = &pixels_[row_thresholds[x % noise_size] * lots_];
            for (std::size_t lot = 0; lot < lots_; ++lot) {
                const std::size_t place = x * lots_ + lot;
                Pixel value = pixels[lot];
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    value[channel] += received_[0][place][channel];
                    value[channel] += shares<direction, 0>(place, channel);
                }
                Indices indices;
                hand_out(quantise(value, tables_, indices), place);
                if (std::uint32_t *const of_lot = counts[x])
                    for (std::size_t i = 0; i < patches_together; ++i)
                        ++of_lot[PatchSimulation::lanes * indices[i] + lot * patches_together + i];
            }
        }
        for (std::size_t place = 0; place < width_ * lots_; ++place)
            for (std::size_t channel = 0; channel < 3; ++channel) {
                Words &next = received_[0][place][channel];
                next = shares<direction, 1>(place, channel);
                if constexpr (kernel.rows > 2) {
                    next += received_[1][place][channel];
                    received_[1][place][channel] = shares<direction, 2>(place, channel);
                }
            }
    }

  private:
    void hand_out(const Pixel &error, std::size_t place) {
        [&]<int... i>(std::integer_sequence<int, i...>) {
            (hand_out_by<i + 1>(error, place), ...);
        }(std::make_integer_sequence<int, kernel.heaviest>());
    }

    template <int weight>
    void hand_out_by(const Pixel &error, std::size_t place) {
        if constexpr (kernel.has_weight(weight))
            for (std::size_t channel = 0; channel < 3; ++channel)
                shares_[weight][place + kernel.reach * lots_][channel] =
                    share<kernel>(error[channel], weight);
    }

    /// What the pixels just scanned hand to a place that many rows below.
    template <int direction, int row>
    Words shares(std::size_t place, std::size_t channel) const {
        return [&]<int... column>(std::integer_sequence<int, column...>) {
            return (share_of<direction, row, column>(place, channel) + ...);
        }(std::make_integer_sequence<int, DiffusionKernel::columns>());
    }

    template <int direction, int row, int column>
    Words share_of(std::size_t place, std::size_t channel) const {
        constexpr int weight = kernel.weights[row][column];
        constexpr int giver = kernel.reach + direction * (kernel.centre - column);
        if constexpr (weight == 0)
            return Words{};
        else
            return shares_[weight][place + std::size_t(giver) * lots_][channel];
    }

    const Tables &tables_;
    const std::vector<Pixel> &pixels_;
    std::size_t lots_;
    std::size_t width_;
    std::vector<Pixel> received_[2]; // by the next row to be scanned and the one below
    std::vector<Pixel> shares_[kernel.heaviest + 1]; // of the last row, by weight; 0 at its sides
};

/// By block, palette index and patch.
using Counts = std::vector<std::uint32_t>;

template <const DiffusionKernel &kernel>
Counts simulate(const Tables &tables, const std::vector<Pixel> &pixels, bool serpentine,
                PatchSimulation::Area area, std::size_t colours) {
    const auto blocks = std::size_t(area.blocks);
    const auto border = std::size_t(area.border), size = std::size_t(area.size);
    const std::size_t block_size = (size - 2 * border) / blocks;
    const std::size_t of_block = colours * PatchSimulation::lanes;
    Counts counts(blocks * blocks * of_block);
    std::vector<std::uint32_t *> of_columns(size); // of the row that is scanned
    Diffusion<kernel> diffusion(tables, pixels, area.size);
    const auto scan = [&](std::size_t y) {
        if (serpentine && y % 2 != 0)
            diffusion.template scan<-1>(y, of_columns);
        else
            diffusion.template scan<1>(y, of_columns);
    };
    std::size_t y = 0;
    for (; y < std::size_t(area.lead) + border; ++y)
        scan(y);
    for (std::size_t row = 0; row < blocks * block_size; ++row, ++y) {
        for (std::size_t column = 0; column < blocks * block_size; ++column)
            of_columns[border + column] =
                &counts[(row / block_size * blocks + column / block_size) * of_block];
        scan(y);
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

DitheredBytes::DitheredBytes(const Vector3 &rgb, double texture) {
    std::array<int, 3> rests{}, places{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const double value = std::clamp(rgb[channel], 0.0, 255.0);
        rests[channel] = static_cast<int>(std::max(value - 1.5, 0.0)) % 4;
        places[channel] = static_cast<int>(grid_steps * (value - rests[channel]) / 4 + 0.5);
    }
    const int unit = static_cast<int>(texture + 0.5);
    for (std::size_t threshold = 0; threshold < thresholds; ++threshold) {
        std::array<int, 3> steps{};
        for (std::size_t channel = 0; channel < 3; ++channel)
            steps[channel] = grid_cell(places[channel], middle_of(threshold));
        const int rise = unit * texture_of_step(std::size_t(steps[1]));
        for (std::size_t channel = 0; channel < 3; ++channel)
            by_threshold_[threshold][channel] = static_cast<std::uint8_t>(
                std::clamp(4 * steps[channel] + rests[channel] + rise, 0, 255));
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

std::size_t DitheredBytes::Hash::operator()(const DitheredBytes &bytes) const {
    static_assert(sizeof bytes.by_threshold_ == thresholds * sizeof(RgbBytes));
    return std::hash<std::string_view>()(
        {reinterpret_cast<const char *>(bytes.by_threshold_.data()), sizeof bytes.by_threshold_});
}

PatchSimulation::PatchSimulation(const Characterisation &panel,
                                 std::span<const std::uint8_t> quantisation)
    : quantisation_(quantisation), lights_(panel.lights()) {
    std::transform(panel.palette().begin(), panel.palette().end(), palette_.begin(),
                   [](const RgbBytes &rgb) {
                       return std::bit_cast<std::uint64_t>(
                           std::array<std::int16_t, 4>{rgb[0], rgb[1], rgb[2], 0});
                   });
}

std::vector<std::vector<Vector3>>
PatchSimulation::block_lights(int dithering_mode, std::span<const DitheredBytes> colours,
                              Area area) const {
    const std::size_t lots = (colours.size() + patches_together - 1) / patches_together;
    std::vector<Pixel> pixels(lots * thresholds);
    for (std::size_t i = 0; i < colours.size(); ++i)
        for (std::size_t threshold = 0; threshold < thresholds; ++threshold) {
            Pixel &pixel = pixels[threshold * lots + i / patches_together];
            for (std::size_t channel = 0; channel < 3; ++channel)
                pixel[channel][i % patches_together] = colours[i].at(threshold)[channel];
        }
    const auto kernel_of_mode = static_cast<Kernel>(dithering_mode / 2);
    const Counts counts = with_kernel(kernel_of_mode, [&]<const DiffusionKernel & kernel>() {
        return simulate<kernel>({quantisation_.data(), palette_.data()}, pixels,
                                dithering_mode % 2 != 0, area, lights_.size());
    });
    const std::size_t blocks = std::size_t(area.blocks) * std::size_t(area.blocks);
    const double block_side = double(area.size - 2 * area.border) / area.blocks;
    std::vector<std::vector<Vector3>> patches(colours.size(), std::vector<Vector3>(blocks));
    for (std::size_t i = 0; i < colours.size(); ++i)
        for (std::size_t block = 0; block < blocks; ++block)
            for (std::size_t index = 0; index < lights_.size(); ++index)
                if (const std::uint32_t pixel_count =
                        counts[(block * lights_.size() + index) * lanes + i])
                    patches[i][block] =
                        patches[i][block] +
                        (double(pixel_count) / (block_side * block_side)) * lights_[index];
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
