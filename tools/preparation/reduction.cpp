#include "preparation/reduction.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <utility>

namespace oxel::tools {

namespace {

constexpr int lobes = 3;
constexpr int phases = 64; // a pixel: finer places are not to be seen

using Vector = float __attribute__((vector_size(16)));
constexpr std::size_t lanes = 4;
constexpr std::size_t block = 4 * lanes;

double windowed_sinc(double x) {
    if (x == 0)
        return 1;
    if (std::abs(x) >= lobes)
        return 0;
    const double angle = std::numbers::pi * x;
    return lobes * std::sin(angle) * std::sin(angle / lobes) / (angle * angle);
}

Vector load(const float *from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

std::uint16_t to_light(float value) {
    return static_cast<std::uint16_t>(std::clamp(value, 0.0F, 65535.0F) + 0.5F);
}

} // namespace

ReducedSide::ReducedSide(int length, double scale)
    : from(length), to(std::max(1, static_cast<int>(length * scale + 0.5))),
      box(std::max(1, static_cast<int>(double(length) / to / 2))), step_(1 / scale / box) {
    // What is too little or too much for whole pixels is so at both ends alike.
    start_ = (step_ - 1) / 2 - (to * step_ - double(length) / box) / 2;
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
    : across_(std::move(across)), down_(std::move(down)), left_(left), top_(top), size_(size),
      light_(light) {
    const int last_boxed = (across_.from - 1) / across_.box;
    const int first = std::clamp(across_.taps(left).first, 0, last_boxed);
    const int last = across_.taps(left + size.width - 1).first + across_.count - 1;
    first_column_ = first * across_.box;
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
    const std::uint16_t *const light = &row[3 * static_cast<std::size_t>(first_column_)];
    // The last box may lack rows; its last one stands for them.
    const bool last = ++rows_ == down_.from;
    const int in_box = (rows_ - 1) % down_.box + 1;
    const auto times = static_cast<float>(last ? down_.box - in_box + 1 : 1);
    float *const sums = down_.box == 1 ? kept(boxed_) : sums_.data();
    if (in_box == 1)
        for (std::size_t i = 0; i < samples_; ++i)
            sums[i] = times * static_cast<float>(int{light[i]});
    else
        for (std::size_t i = 0; i < samples_; ++i)
            sums[i] += times * static_cast<float>(int{light[i]});
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
    for (std::size_t i = 0; i < sums_.size(); i += block) {
        Vector sums[block / lanes] = {};
        for (std::size_t tap = 0; tap < taken_.size(); ++tap)
            for (std::size_t k = 0; k < block / lanes; ++k)
                sums[k] += weights[tap] * load(taken_[tap] + i + k * lanes);
        std::memcpy(column + i, sums, sizeof sums);
    }
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
    std::uint16_t *out =
        &light_[3 * static_cast<std::size_t>(size_.width) * static_cast<std::size_t>(place)];
    for (int x = 0; x < size_.width; ++x, out += 3) {
        const auto [left, across] = across_.taps(left_ + x);
        const float *from = column + 3 * (left - first_column_ / across_.box);
        Vector sum = {}; // of three channels and one that is not used
        for (int tap = 0; tap < across_.count; ++tap)
            sum += across[tap] * load(from + 3 * tap);
        for (std::size_t channel = 0; channel < 3; ++channel)
            out[channel] = to_light(sum[channel]);
    }
}

} // namespace oxel::tools
