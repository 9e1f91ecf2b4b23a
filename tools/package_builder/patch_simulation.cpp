#include "package_builder/patch_simulation.h"

#include "diffusion_kernel.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace oxel::tools {

namespace {

/// A pixel of two patches: red, green, blue and an idle 0 of each, in two's complement. Compilers
/// make vector instructions of this, for whatever processor has some.
typedef std::uint16_t Words __attribute__((vector_size(16)));
typedef std::int16_t SignedWords __attribute__((vector_size(16)));
/// The same, a patch a number, with red in the lowest bits.
typedef std::uint64_t Quads __attribute__((vector_size(16)));

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
    /// `pixels` are the patches' colours, two by two.
    Diffusion(const Tables &tables, const std::vector<Quads> &pixels, int width)
        : tables_(tables), pixels_(pixels), width_(std::size_t(width)) {
        for (std::vector<Words> &received : received_)
            received.resize(width_ * pixels.size());
        for (int weight = 1; weight <= most_weight; ++weight)
            if (kernel.has_weight(weight))
                shares_[weight].resize((width_ + 2 * kernel.reach) * pixels.size());
    }

    /// Calls `chosen` with the column, the pair and the palette indices of each pixel of the next
    /// row. A scan to the left (`direction` -1) has the kernel mirrored.
    template <int direction, class Chosen>
    void scan(Chosen chosen) {
        for (std::size_t step = 0; step < width_; ++step) {
            const std::size_t x = direction > 0 ? step : width_ - 1 - step;
            for (std::size_t pair = 0; pair < pixels_.size(); ++pair) {
                const std::size_t place = x * pixels_.size() + pair;
                Indices indices;
                const Words value = std::bit_cast<Words>(pixels_[pair]) + received_[0][place] +
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
    static constexpr int most_weight = 8;

    void hand_out(Words error, std::size_t place) {
        [&]<int... i>(std::integer_sequence<int, i...>) {
            (hand_out_by<i + 1>(error, place), ...);
        }(std::make_integer_sequence<int, most_weight>());
    }

    template <int weight>
    void hand_out_by(Words error, std::size_t place) {
        if constexpr (kernel.has_weight(weight))
            shares_[weight][place + kernel.reach * pixels_.size()] = share<kernel>(error, weight);
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
            return shares_[weight][place + std::size_t(giver) * pixels_.size()];
    }

    const Tables &tables_;
    const std::vector<Quads> &pixels_;
    std::size_t width_;
    std::vector<Words> received_[2];             // by the next row to be scanned and the one below
    std::vector<Words> shares_[most_weight + 1]; // of the last row, by weight; 0 at its sides
};

/// By patch, block and palette index.
using Counts = std::vector<std::uint32_t>;

template <const DiffusionKernel &kernel>
Counts simulate(const Tables &tables, const std::vector<Quads> &pixels, bool serpentine,
                PatchSimulation::Area area, std::size_t colours) {
    const std::size_t blocks = std::size_t(area.blocks);
    const std::size_t block_size = std::size_t(area.size - 2 * area.border) / blocks;
    Counts counts(patches_a_pair * pixels.size() * blocks * blocks * colours);
    const auto inside = [&](int i) { return i >= area.border && i < area.size - area.border; };
    Diffusion<kernel> diffusion(tables, pixels, area.size);
    for (int y = 0; y < area.size - area.border; ++y) {
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
        if (serpentine && y % 2 != 0)
            diffusion.template scan<-1>(count);
        else
            diffusion.template scan<1>(count);
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

PatchSimulation::PatchSimulation(const Characterisation &panel,
                                 std::span<const std::uint8_t> quantisation)
    : quantisation_(quantisation), lights_(panel.lights()) {
    std::transform(panel.palette().begin(), panel.palette().end(), palette_.begin(), quad);
}

std::vector<std::vector<Vector3>> PatchSimulation::block_lights(int dithering_mode,
                                                                std::span<const RgbBytes> bytes,
                                                                Area area) const {
    std::vector<Quads> pixels((bytes.size() + 1) / patches_a_pair);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        pixels[i / patches_a_pair][i % patches_a_pair] = quad(bytes[i]);
    constexpr auto simulations =
        std::array{simulate<floyd_steinberg>, simulate<jarvis_judice_ninke>, simulate<stucki>};
    const Counts counts = simulations[std::size_t(dithering_mode / 2)](
        {quantisation_.data(), palette_.data()}, pixels, dithering_mode % 2 != 0, area,
        lights_.size());
    const std::size_t blocks = std::size_t(area.blocks) * std::size_t(area.blocks);
    const double block_side = double(area.size - 2 * area.border) / area.blocks;
    std::vector<std::vector<Vector3>> patches(bytes.size(), std::vector<Vector3>(blocks));
    auto count = counts.begin();
    for (std::vector<Vector3> &patch : patches)
        for (Vector3 &block : patch)
            for (const Vector3 &light : lights_)
                if (const std::uint32_t pixel_count = *count++)
                    block = block + (double(pixel_count) / (block_side * block_side)) * light;
    return patches;
}

std::vector<Vector3> PatchSimulation::mean_light(int dithering_mode,
                                                 std::span<const RgbBytes> bytes, Area area) const {
    std::vector<Vector3> lights;
    for (const std::vector<Vector3> &blocks : block_lights(dithering_mode, bytes, area))
        lights.push_back(mean(blocks));
    return lights;
}

} // namespace oxel::tools
