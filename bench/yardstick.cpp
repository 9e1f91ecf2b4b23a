#include "yardstick.h"

#include "Oxel_Morvel6_render.h"

#include <vector>

namespace yardstick {

namespace {

int clamp(int value) {
    return value < 0 ? 0 : value > 255 ? 255 : value;
}

struct Errors {
    std::vector<std::int16_t> rows[3];

    Errors(int width, int margin) {
        for (auto &row : rows)
            row.resize(3 * static_cast<std::size_t>(width + 2 * margin));
    }
    void advance() {
        rows[0].swap(rows[1]);
        rows[1].swap(rows[2]);
        rows[2].assign(rows[2].size(), 0);
    }
};

void load(const std::uint8_t *mapped, int width, std::int16_t *values) {
    for (int i = 0; i < 3 * width; ++i)
        values[i] = static_cast<std::int16_t>(values[i] + mapped[i]);
}

/// Clamps the value, chooses its index, leaves the error.
std::uint8_t quantise(const Package &package, const std::int16_t *value, int (&error)[3]) {
    const int r = clamp(value[0]), g = clamp(value[1]), b = clamp(value[2]);
    const std::uint8_t index = package.cells[(r >> 2) * 4096 + (g >> 2) * 64 + (b >> 2)];
    const std::uint8_t *colour = package.palette + 3 * index;
    error[0] = r - colour[0];
    error[1] = g - colour[1];
    error[2] = b - colour[2];
    return index;
}

void add(std::int16_t &value, int share) {
    value = static_cast<std::int16_t>(value + share);
}

void floyd(const Package &package, const std::uint8_t *mapped, int width, int height,
           bool serpentine, std::uint8_t *indices) {
    Errors errors(width, 1);
    for (int y = 0; y < height; ++y) {
        std::int16_t *here = errors.rows[0].data() + 3;
        std::int16_t *below = errors.rows[1].data() + 3;
        load(mapped + std::ptrdiff_t{3} * width * y, width, here);
        const int d = serpentine && y % 2 != 0 ? -1 : 1;
        for (int x = d > 0 ? 0 : width - 1; x >= 0 && x < width; x += d) {
            int error[3];
            indices[std::ptrdiff_t{width} * y + x] = quantise(package, here + 3 * x, error);
            for (int s = 0; s < 3; ++s) {
                const int e = error[s];
                add(here[3 * (x + d) + s], (7 * e) >> 4);
                add(below[3 * (x - d) + s], (3 * e) >> 4);
                add(below[3 * x + s], (5 * e) >> 4);
                add(below[3 * (x + d) + s], e >> 4);
            }
        }
        errors.advance();
    }
}

/// Jarvis, Judice and Ninke, or Stucki: five weights that each distance from the pixel has.
template <int divisor, int near, int far, int below_far, int below2, int below2_near,
          int below2_far>
void wide(const Package &package, const std::uint8_t *mapped, int width, int height,
          bool serpentine, std::uint8_t *indices) {
    Errors errors(width, 2);
    for (int y = 0; y < height; ++y) {
        std::int16_t *here = errors.rows[0].data() + 6;
        std::int16_t *below = errors.rows[1].data() + 6;
        std::int16_t *second = errors.rows[2].data() + 6;
        load(mapped + std::ptrdiff_t{3} * width * y, width, here);
        const int d = serpentine && y % 2 != 0 ? -1 : 1;
        for (int x = d > 0 ? 0 : width - 1; x >= 0 && x < width; x += d) {
            int error[3];
            indices[std::ptrdiff_t{width} * y + x] = quantise(package, here + 3 * x, error);
            for (int s = 0; s < 3; ++s) {
                const int e = error[s];
                add(here[3 * (x + d) + s], near * e / divisor);
                add(here[3 * (x + 2 * d) + s], far * e / divisor);
                add(below[3 * (x - 2) + s], below_far * e / divisor);
                add(below[3 * (x - 1) + s], far * e / divisor);
                add(below[3 * x + s], near * e / divisor);
                add(below[3 * (x + 1) + s], far * e / divisor);
                add(below[3 * (x + 2) + s], below_far * e / divisor);
                add(second[3 * (x - 2) + s], below2_far * e / divisor);
                add(second[3 * (x - 1) + s], below2_near * e / divisor);
                add(second[3 * x + s], below2 * e / divisor);
                add(second[3 * (x + 1) + s], below2_near * e / divisor);
                add(second[3 * (x + 2) + s], below2_far * e / divisor);
            }
        }
        errors.advance();
    }
}

} // namespace

void map_gamut(const Package &package, const std::uint8_t *input, int width, int height,
               std::uint8_t *mapped) {
    for (std::ptrdiff_t i = 0; i < std::ptrdiff_t{3} * width * height; i += 3) {
        const std::uint8_t *colour =
            package.gamut +
            3 * ((input[i] >> 2) * 4096 + (input[i + 1] >> 2) * 64 + (input[i + 2] >> 2));
        mapped[i] = colour[0];
        mapped[i + 1] = colour[1];
        mapped[i + 2] = colour[2];
    }
}

void dither(const Package &package, const std::uint8_t *mapped, int width, int height, int mode,
            std::uint8_t *indices) {
    const bool serpentine = mode % 2 != 0;
    if (mode < 2)
        floyd(package, mapped, width, height, serpentine, indices);
    else if (mode < 4)
        wide<48, 7, 5, 3, 5, 3, 1>(package, mapped, width, height, serpentine, indices);
    else
        wide<42, 8, 4, 2, 4, 2, 1>(package, mapped, width, height, serpentine, indices);
}

void render(const Package &package, const std::uint8_t *input, int width, int height, int mode,
            std::uint8_t *output) {
    const auto pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    std::vector<std::uint8_t> mapped(3 * pixels), indices(pixels);
    map_gamut(package, input, width, height, mapped.data());
    dither(package, mapped.data(), width, height, mode, indices.data());
    for (std::size_t i = 0; i < pixels; ++i) {
        const std::uint8_t code = package.tcon[indices[i]];
        output[3 * i] = code;
        output[3 * i + 1] = code;
        output[3 * i + 2] = code;
    }
}

double measure(const Package &package, const std::uint8_t *indices, int width, int height) {
    const int pairs = height / 2;
    const auto colours = static_cast<std::size_t>(package.colours);
    std::vector<double> shares(static_cast<std::size_t>(pairs) * colours);
    for (int p = 0; p < pairs; ++p) {
        std::vector<int> counts(colours);
        for (int i = 0; i < 2 * width; ++i)
            ++counts[indices[std::ptrdiff_t{2} * width * p + i]];
        for (std::size_t i = 0; i < colours; ++i)
            shares[static_cast<std::size_t>(p) * colours + i] =
                counts[i] / static_cast<double>(2 * width);
    }
    double sum = 0.0;
    for (std::size_t i = colours; i < shares.size(); ++i)
        sum = sum + my_pow(shares[i] - shares[i - colours], 2.0);
    return sum;
}

namespace {

double to_unit(double x) {
    return x < 0.0 ? 0.0 : x > 1.0 ? 1.0 : x;
}

std::uint8_t channel(double t, double p, double q) {
    if (t < 0.0)
        t = t + 1.0;
    else if (t > 1.0)
        t = t - 1.0;
    double level = p;
    if (t < 1.0 / 6.0)
        level = to_unit((q - p) * 6.0 * t + p);
    else if (t < 0.5)
        level = q;
    else if (t < 2.0 / 3.0)
        level = (q - p) * 6.0 * (2.0 / 3.0 - t) + p;
    return static_cast<std::uint8_t>(static_cast<int>(level * 255.0));
}

} // namespace

void adjust(const std::uint8_t *input, int width, int height, int hue, int saturation,
            int brightness, int contrast, double gamma, std::uint8_t *output) {
    const std::ptrdiff_t bytes = std::ptrdiff_t{3} * width * height;
    for (std::ptrdiff_t i = 0; i < bytes; i += 3) {
        const double r = input[i], g = input[i + 1], b = input[i + 2];
        double max, min, h = 0.0, s = 0.0;
        if (r >= g && r >= b) {
            max = r;
            min = g < b ? g : b;
            if (max != min)
                h = static_cast<int>((g - b) * 60.0 / (max - min) + 360.0) % 360;
        } else if (g >= b && g >= r) {
            max = g;
            min = r < b ? r : b;
            h = (b - r) * 60.0 / (max - min) + 120.0;
        } else {
            max = b;
            min = r < g ? r : g;
            h = (r - g) * 60.0 / (max - min) + 240.0;
        }
        const double delta = max - min;
        const double sum = min + max;
        if (delta != 0.0)
            s = sum <= 255.0 ? delta / sum : delta / 255.0 / (2.0 - sum / 255.0);
        double l = sum * 0.5 / 255.0;

        int degrees = static_cast<int>(h + hue) % 360;
        if (degrees < 0)
            degrees += 360;
        if (delta != 0.0 && s >= 0.1)
            s = to_unit(s + saturation / 100.0);
        l = to_unit(l * (contrast / 50.0 + 1.0) - contrast / 100.0 + brightness / 100.0);

        const double q = l < 0.5 ? (s + 1.0) * l : s + l - l * s;
        const double p = l + l - q;
        const double turn = degrees / 360.0;
        output[i] = channel(turn + 0.333333, p, q);
        output[i + 1] = channel(turn, p, q);
        output[i + 2] = channel(turn - 0.333333, p, q);
    }
    if (gamma == 1.0)
        return;
    std::uint8_t curve[256];
    for (int v = 0; v < 256; ++v)
        curve[v] =
            static_cast<std::uint8_t>(static_cast<std::int32_t>(my_pow(v / 255.0, gamma) * 255.0));
    for (std::ptrdiff_t i = 0; i < bytes; ++i)
        output[i] = curve[output[i]];
}

std::uint32_t crc32(const std::uint8_t *bytes, std::size_t count) {
    std::uint32_t table[256];
    for (std::uint32_t n = 0; n < 256; ++n) {
        table[n] = n;
        for (int bit = 0; bit < 8; ++bit)
            table[n] = table[n] & 1 ? table[n] >> 1 ^ 0xEDB88320U : table[n] >> 1;
    }
    std::uint32_t crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < count; ++i)
        crc = table[(crc ^ bytes[i]) & 0xFF] ^ crc >> 8;
    return ~crc;
}

} // namespace yardstick
