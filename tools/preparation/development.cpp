#include "preparation/development.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace oxel::tools {

namespace {

constexpr float full_light = 65535;

using Gains = std::array<double, 3>;

/// ITU-R BT.709, on the scale of the channels.
float luminance(const float *light) {
    return 0.2126F * light[0] + 0.7152F * light[1] + 0.0722F * light[2];
}

float luminance(const std::uint16_t *light) {
    const float channels[] = {float(light[0]), float(light[1]), float(light[2])};
    return luminance(channels);
}

std::uint16_t rounded(float channel) {
    return static_cast<std::uint16_t>(std::clamp(channel, 0.0F, full_light) + 0.5F);
}

/// By Newton's method from above, as exact on every machine.
double sixth_root(double x) {
    for (double y = std::max(x, 1.0);;) {
        const double next = (5 * y + x / (y * y * y * y * y)) / 6;
        if (next >= y)
            return y;
        y = next;
    }
}

/// What makes the channels' means of a power, the first or the sixth, alike, and keeps the
/// luminance of greys. Clipped pixels tell nothing of the light.
Gains gains_of(std::span<const std::uint16_t> light, bool sixth_power) {
    std::array<double, 3> sums{};
    for (std::size_t i = 0; i < light.size(); i += 3) {
        if (std::max({light[i], light[i + 1], light[i + 2]}) == 65535)
            continue;
        for (std::size_t c = 0; c < 3; ++c) {
            const double channel = double(light[i + c]) / double(full_light);
            const double cube = channel * channel * channel;
            sums[c] += sixth_power ? cube * cube : channel;
        }
    }
    Gains gains{1, 1, 1};
    if (*std::min_element(sums.begin(), sums.end()) <= 0)
        return gains;
    for (std::size_t c = 0; c < 3; ++c) {
        const double ratio = sums[1] / sums[c];
        gains[c] = std::clamp(sixth_power ? sixth_root(ratio) : ratio, 0.25, 4.0);
    }
    const double grey = 0.2126 * gains[0] + 0.7152 * gains[1] + 0.0722 * gains[2];
    for (double &gain : gains)
        gain /= grey;
    return gains;
}

/// The luminances that 1 in 200 pixels lie below and above, and what stretches them to all.
struct Levels {
    float black = 0;
    float gain = 1;
};

Levels levels_of(std::span<const std::uint16_t> light, const Gains &gains) {
    std::vector<std::size_t> counts(65536);
    for (std::size_t i = 0; i < light.size(); i += 3) {
        const float channels[] = {float(gains[0]) * float(light[i]),
                                  float(gains[1]) * float(light[i + 1]),
                                  float(gains[2]) * float(light[i + 2])};
        ++counts[rounded(luminance(channels))];
    }
    const std::size_t few = light.size() / 3 / 200;
    std::size_t black = 0;
    for (std::size_t below = counts[0]; below <= few && black < 65535;)
        below += counts[++black];
    std::size_t top = 65535;
    for (std::size_t above = counts[65535]; above <= few && top > 0;)
        above += counts[--top];
    if (top <= black)
        return {};
    return {float(black), full_light / float(top - black)};
}

/// The same light in another luminance: scaled, and brought nearer to white where a channel would
/// leave its range.
void set_luminance(std::uint16_t *light, float from, float to) {
    if (from <= 0) {
        light[0] = light[1] = light[2] = rounded(to);
        return;
    }
    std::array<float, 3> channels{};
    for (std::size_t c = 0; c < 3; ++c)
        channels[c] = float(light[c]) * (to / from);
    const float top = *std::max_element(channels.begin(), channels.end());
    const float keep = top > full_light && top > to ? (full_light - to) / (top - to) : 1;
    for (std::size_t c = 0; c < 3; ++c)
        light[c] = rounded(to + keep * (channels[c] - to));
}

/// The picture without its detail but with its edges, so that dark and light are told apart
/// without halos: He, Sun and Tang, "Guided image filtering", 2010, guided by itself.
Plane base_of(const Plane &lightness, ImageSize size) {
    constexpr int radius = 24;
    constexpr float smallest_edge = 0.1F; // of lightness
    Plane squares(lightness.size());
    std::transform(lightness.begin(), lightness.end(), squares.begin(),
                   [](float value) { return value * value; });
    const Plane mean = box_blur(lightness, size, radius);
    squares = box_blur(squares, size, radius);
    Plane slope(lightness.size());
    Plane offset(lightness.size());
    for (std::size_t i = 0; i < lightness.size(); ++i) {
        const float variance = std::max(squares[i] - mean[i] * mean[i], 0.0F);
        slope[i] = variance / (variance + smallest_edge * smallest_edge);
        offset[i] = mean[i] * (1 - slope[i]);
    }
    slope = box_blur(slope, size, radius);
    offset = box_blur(offset, size, radius);
    Plane base(lightness.size());
    for (std::size_t i = 0; i < base.size(); ++i)
        base[i] = slope[i] * lightness[i] + offset[i];
    return base;
}

/// A difference of lightness, less of it the larger it is: edges get no halos.
float softly_limited(float difference, float limit) {
    const float share = difference / limit;
    return difference / (1 + share * share);
}

void add_detail(Plane &change, const Plane &lightness, const Plane &blurred, int hundredths,
                float limit) {
    const float amount = float(hundredths) / 100;
    for (std::size_t i = 0; i < change.size(); ++i)
        change[i] += amount * softly_limited(lightness[i] - blurred[i], limit);
}

/// Shadows change most what is darkest, highlights what is lightest; black and white stay.
void add_tones(Plane &change, const Plane &base, int shadows, int highlights) {
    const float dark_amount = float(shadows) / 100;
    const float light_amount = float(highlights) / 100;
    for (std::size_t i = 0; i < change.size(); ++i) {
        const float light = std::clamp(base[i], 0.0F, 1.0F);
        const float dark = 1 - light;
        change[i] += light * dark * (dark_amount * dark * dark + light_amount * light * light);
    }
}

bool changes_lightness(const Development &amounts) {
    return amounts.clarity != 0 || amounts.sharpen != 0 || amounts.shadows != 0 ||
           amounts.highlights != 0;
}

/// Works out what these amounts need and is not there yet.
void complete(LightnessPlanes &planes, std::span<const std::uint16_t> light, ImageSize size,
              const Development &amounts) {
    if (planes.lightness.empty()) {
        planes.lightness.resize(size.pixels());
        for (std::size_t i = 0; i < planes.lightness.size(); ++i)
            planes.lightness[i] =
                float(lightness_of_light(rounded(luminance(&light[3 * i])))) / full_light;
    }
    if (planes.base.empty() && (amounts.shadows != 0 || amounts.highlights != 0))
        planes.base = base_of(planes.lightness, size);
    if (planes.coarse.empty() && amounts.clarity != 0)
        planes.coarse = blur(planes.lightness, size, 15);
    if (planes.fine.empty() && amounts.sharpen != 0)
        planes.fine = blur(planes.lightness, size, 1);
}

void develop_lightness(std::span<std::uint16_t> light, ImageSize size, const Development &amounts,
                       const ExactColours &exact, LightnessPlanes &planes) {
    complete(planes, light, size, amounts);
    const Plane &lightness = planes.lightness;
    Plane change(size.pixels());
    if (amounts.shadows != 0 || amounts.highlights != 0)
        add_tones(change, planes.base, amounts.shadows, amounts.highlights);
    if (amounts.clarity != 0)
        add_detail(change, lightness, planes.coarse, amounts.clarity, 0.2F);
    if (amounts.sharpen != 0)
        add_detail(change, lightness, planes.fine, amounts.sharpen, 0.3F);
    for (std::size_t i = 0; i < lightness.size(); ++i) {
        std::uint16_t *pixel = &light[3 * i];
        if (exact.hold(pixel))
            continue;
        const float wanted = std::clamp(lightness[i] + change[i], 0.0F, 1.0F);
        set_luminance(pixel, luminance(pixel),
                      float(light_of_lightness(rounded(full_light * wanted))));
    }
}

void balance(std::span<std::uint16_t> light, const Development &amounts) {
    Gains gains{1, 1, 1};
    if (amounts.white_balance != WhiteBalance::none)
        gains = gains_of(light, amounts.white_balance == WhiteBalance::automatic);
    const Levels levels = amounts.auto_levels ? levels_of(light, gains) : Levels{};
    if (amounts.white_balance != WhiteBalance::none || amounts.auto_levels)
        for (std::size_t i = 0; i < light.size(); ++i)
            light[i] =
                rounded(levels.gain * (float(gains[i % 3]) * float(light[i]) - levels.black));
}

void finish(std::span<std::uint16_t> light, ImageSize size, const Development &amounts,
            const ExactColours &exact, LightnessPlanes &planes) {
    if (changes_lightness(amounts))
        develop_lightness(light, size, amounts, exact, planes);
    if (amounts.monochrome)
        for (std::size_t i = 0; i < light.size(); i += 3)
            light[i] = light[i + 1] = light[i + 2] = rounded(luminance(&light[i]));
}

} // namespace

void develop(std::span<std::uint16_t> light, ImageSize size, const Development &amounts,
             const ExactColours &exact) {
    balance(light, amounts);
    LightnessPlanes planes;
    finish(light, size, amounts, exact, planes);
}

Developer::Developer(Light picture, ImageSize size)
    : picture_(std::move(picture)), size_(size), balanced_(picture_) {}

void Developer::develop(const Development &amounts, const ExactColours &exact,
                        std::span<std::uint16_t> developed) {
    if (amounts.white_balance != balanced_for_.white_balance ||
        amounts.auto_levels != balanced_for_.auto_levels) {
        balanced_for_ = amounts;
        balanced_ = picture_;
        balance(balanced_, amounts);
        planes_ = {};
    }
    std::copy(balanced_.begin(), balanced_.end(), developed.begin());
    finish(developed, size_, amounts, exact, planes_);
}

} // namespace oxel::tools
