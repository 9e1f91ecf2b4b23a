#include "preparation/reduction.h"

#include "preparation/light.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

namespace oxel::tools {

namespace {

constexpr int lobes = 3;
constexpr int phases = 64; // a pixel: finer places are not to be seen

template <std::size_t bytes>
struct VectorOf {
    using Type __attribute__((vector_size(bytes))) = float;
};
using Pixel = VectorOf<16>::Type; // three channels and one that is not used

constexpr std::size_t registers = 4; // in flight, so that one sum need not wait for itself
constexpr std::size_t block = registers * 16;

double windowed_sinc(double x) {
    if (x == 0)
        return 1;
    if (std::abs(x) >= lobes)
        return 0;
    const double angle = std::numbers::pi * x;
    return lobes * std::sin(angle) * std::sin(angle / lobes) / (angle * angle);
}

/// The sum of the rows, each by its weight.
template <std::size_t bytes>
[[gnu::always_inline]] inline void weigh_rows(std::span<const float *const> rows,
                                              const float *weights, std::span<float> sum) {
    using Vector = typename VectorOf<bytes>::Type;
    constexpr std::size_t step = bytes / sizeof(float);
    for (std::size_t i = 0; i < sum.size(); i += registers * step) {
        Vector sums[registers] = {};
        for (std::size_t row = 0; row < rows.size(); ++row)
            for (std::size_t k = 0; k < registers; ++k) {
                Vector values;
                std::memcpy(&values, rows[row] + i + k * step, sizeof values);
                sums[k] += weights[row] * values;
            }
        std::memcpy(&sum[i], sums, sizeof sums);
    }
}

/// Writes three channels, rounded.
[[gnu::always_inline]] inline void write_light(Pixel sum, std::uint16_t *light) {
    using Whole __attribute__((vector_size(sizeof(Pixel)))) = std::int32_t;
    constexpr Pixel most = {65535, 65535, 65535, 65535};
    sum = sum < 0 ? Pixel{} : sum;
    sum = (sum > most ? most : sum) + 0.5F;
    const Whole whole = __builtin_convertvector(sum, Whole);
    for (std::size_t channel = 0; channel < 3; ++channel)
        light[channel] = static_cast<std::uint16_t>(whole[channel]);
}

/// Pixels of light, each of `count` others of a row by their weights. Two sums side by side need
/// not wait for themselves.
[[gnu::always_inline]] inline void weigh_columns(const float *row,
                                                 std::span<const ReducedSide::Taps> pixels,
                                                 int count, std::span<std::uint16_t> light) {
    std::uint16_t *out = light.data();
    for (std::size_t x = 0; x < pixels.size(); x += 2, out += 6) {
        const ReducedSide::Taps &one = pixels[x];
        const ReducedSide::Taps &other = pixels[std::min(x + 1, pixels.size() - 1)];
        const float *from = row + 3 * one.first;
        const float *from_other = row + 3 * other.first;
        Pixel sum = {};
        Pixel sum_other = {};
        for (int tap = 0; tap < count; ++tap, from += 3, from_other += 3) {
            Pixel values;
            Pixel values_other;
            std::memcpy(&values, from, sizeof values);
            std::memcpy(&values_other, from_other, sizeof values_other);
            sum += one.weights[tap] * values;
            sum_other += other.weights[tap] * values_other;
        }
        write_light(sum, out);
        if (x + 1 < pixels.size())
            write_light(sum_other, out + 3);
    }
}

using RowsLoop = void(std::span<const float *const>, const float *, std::span<float>);
using ColumnsLoop = void(const float *, std::span<const ReducedSide::Taps>, int,
                         std::span<std::uint16_t>);

/// The loops as a processor can run them: wider registers leave each sum's order, and its result.
struct Loops {
    RowsLoop *rows;
    ColumnsLoop *columns;
};

void rows_of_any(std::span<const float *const> rows, const float *weights, std::span<float> sum) {
    weigh_rows<16>(rows, weights, sum);
}

void columns_of_any(const float *row, std::span<const ReducedSide::Taps> pixels, int count,
                    std::span<std::uint16_t> light) {
    weigh_columns(row, pixels, count, light);
}

#ifdef __x86_64__
[[gnu::target("avx2")]] void rows_of_avx2(std::span<const float *const> rows, const float *weights,
                                          std::span<float> sum) {
    weigh_rows<32>(rows, weights, sum);
}

[[gnu::target("avx2")]] void columns_of_avx2(const float *row,
                                             std::span<const ReducedSide::Taps> pixels, int count,
                                             std::span<std::uint16_t> light) {
    weigh_columns(row, pixels, count, light);
}

[[gnu::target("avx512f")]] void rows_of_avx512(std::span<const float *const> rows,
                                               const float *weights, std::span<float> sum) {
    weigh_rows<64>(rows, weights, sum);
}
#endif

const Loops &loops() {
    static const Loops fastest = [] {
#ifdef __x86_64__
        if (__builtin_cpu_supports("avx512f"))
            return Loops{rows_of_avx512, columns_of_avx2};
        if (__builtin_cpu_supports("avx2"))
            return Loops{rows_of_avx2, columns_of_avx2};
#endif
        return Loops{rows_of_any, columns_of_any};
    }();
    return fastest;
}

} // namespace

ReducedSide::ReducedSide(int length, double scale, double shift)
    : from(length), to(std::max(1, static_cast<int>(length * scale + 0.5))),
      box(std::max(1, static_cast<int>(double(length) / to / 2))), step_(1 / scale / box) {
    // What is too little or too much for whole pixels is so at both ends alike.
    start_ = (step_ - 1) / 2 - (to * step_ - double(length) / box) / 2 + shift / box;
    const int reach = static_cast<int>(std::ceil(lobes * step_));
    count = step_ == 1 ? 1 : 2 * reach;
    for (int phase = 0; phase < phases; ++phase) {
        std::vector<double> weights;
        double sum = 0;
        for (int tap = 0; tap < count; ++tap) {
            const double distance = tap - (reach - 1) - double(phase) / phases;
            weights.push_back(count == 1 ? 1 : windowed_sinc(distance / step_));
            sum += weights.back();
        }
        for (const double weight : weights)
            weights_.push_back(static_cast<float>(weight / sum));
    }
}

ReducedSide::Taps ReducedSide::taps(int place) const {
    if (count == 1)
        return {place, weights_.data()};
    const int centre =
        static_cast<int>(std::floor((place * step_ + start_) * phases + 0.5)); // in phases
    const int pixel = (centre + phases * count) / phases - count;              // rounded down
    const auto phase = static_cast<std::size_t>(centre - phases * pixel);
    return {pixel - (count / 2 - 1), &weights_[phase * static_cast<std::size_t>(count)]};
}

Reduction::Reduction(ReducedSide across, ReducedSide down, int left, int top, ImageSize size,
                     std::span<std::uint16_t> light)
    : across_(std::move(across)), down_(std::move(down)), top_(top), size_(size), light_(light) {
    for (int x = left; x < left + size.width; ++x)
        columns_.push_back(across_.taps(x));
    const int last_boxed = (across_.from - 1) / across_.box;
    const int first = std::clamp(columns_.front().first, 0, last_boxed);
    const int last = columns_.back().first + across_.count - 1;
    first_column_ = first * across_.box;
    for (ReducedSide::Taps &taps : columns_)
        taps.first -= first;
    const int end = std::min(across_.from, (std::clamp(last, first, last_boxed) + 1) * across_.box);
    samples_ = 3 * static_cast<std::size_t>(end - first_column_);
    const std::size_t padded = (samples_ + block - 1) / block * block;
    sums_.resize(padded);
    ring_.resize(padded * static_cast<std::size_t>(down_.count));
    row_.resize(3 * static_cast<std::size_t>(across_.from / across_.box + 1 + 2 * across_.count) +
                padded);
    taken_.resize(static_cast<std::size_t>(down_.count));
}

float *Reduction::kept(int place) {
    return &ring_[static_cast<std::size_t>(place % down_.count) * sums_.size()];
}

void Reduction::add(std::span<const std::uint16_t> row) {
    add_values(row, [](std::uint16_t light) { return static_cast<float>(int{light}); });
}

void Reduction::add(std::span<const std::uint8_t> row) {
    static const auto lights = [] {
        std::array<float, 256> values;
        for (std::size_t byte = 0; byte < values.size(); ++byte)
            values[byte] = float(light_of_byte(static_cast<std::uint8_t>(byte)));
        return values;
    }();
    add_values(row, [](std::uint8_t byte) { return lights[byte]; });
}

template <class Row, class Value>
void Reduction::add_values(Row row, Value value) {
    const auto *const values = &row[3 * static_cast<std::size_t>(first_column_)];
    // The last box may lack rows; its last one stands for them.
    const bool last = ++rows_ == down_.from;
    const int in_box = (rows_ - 1) % down_.box + 1;
    const auto times = static_cast<float>(last ? down_.box - in_box + 1 : 1);
    float *const sums = down_.box == 1 ? kept(boxed_) : sums_.data();
    if (in_box == 1)
        for (std::size_t i = 0; i < samples_; ++i)
            sums[i] = times * value(values[i]);
    else
        for (std::size_t i = 0; i < samples_; ++i)
            sums[i] += times * value(values[i]);
    if (!last && in_box < down_.box)
        return;
    if (down_.box > 1) {
        float *const mean = kept(boxed_);
        for (std::size_t i = 0; i < samples_; ++i)
            mean[i] = sums[i] / static_cast<float>(down_.box);
    }
    ++boxed_;
    while (written_ < size_.height &&
           (last || down_.taps(top_ + written_).first + down_.count <= boxed_))
        write(written_++);
}

/// The rows that it needs are in the ring, except those beyond the edges.
void Reduction::write(int place) {
    const auto [first, weights] = down_.taps(top_ + place);
    for (std::size_t tap = 0; tap < taken_.size(); ++tap)
        taken_[tap] = kept(std::clamp(first + static_cast<int>(tap), 0, boxed_ - 1));
    const auto margin = 3 * static_cast<std::size_t>(across_.count);
    float *const column = row_.data() + margin;
    loops().rows(taken_, weights, {column, sums_.size()});
    const auto box = static_cast<std::size_t>(across_.box);
    const std::size_t columns = samples_ / 3;
    const std::size_t boxed = (columns + box - 1) / box;
    if (box > 1)
        for (std::size_t x = 0; x < boxed; ++x)
            for (std::size_t channel = 0; channel < 3; ++channel) {
                float sum = 0;
                for (std::size_t i = x * box; i < (x + 1) * box; ++i)
                    sum += column[3 * std::min(i, columns - 1) + channel];
                column[3 * x + channel] = sum / static_cast<float>(box);
            }
    // The edges' pixels go on.
    for (std::size_t i = 0; i < margin; ++i) {
        row_[i] = column[i % 3];
        column[3 * boxed + i] = column[3 * (boxed - 1) + i % 3];
    }
    const std::size_t row_samples = 3 * columns_.size();
    loops().columns(column, columns_, across_.count,
                    light_.subspan(row_samples * static_cast<std::size_t>(place), row_samples));
}

} // namespace oxel::tools
