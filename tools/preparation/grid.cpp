#include "preparation/grid.h"

#include "preparation/light.h"

#include <algorithm>
#include <cstdlib>
#include <array>
#include <cmath>
#include <vector>

namespace oxel::tools {

namespace {

constexpr int steps = 1024; // that the distance of two cells has

int place_on(Grid grid, std::uint16_t light) {
    const int fine_byte = fine_byte_of_light(light);
    return grid == Grid::ends ? (fine_byte * 84 + 42) / 85 // 63 cells of 256 x 255
                              : fine_byte - 3 * 128;       // a cell of 4 bytes, from its middle
}

int experiment() {
    static const int kind = std::getenv("PATTERN") ? std::atoi(std::getenv("PATTERN")) : 0;
    return kind;
}

std::vector<int> blue_noise(int n) {
    // void and cluster, small
    const int count = n * n;
    std::vector<double> kernel(count);
    const double sigma = 1.5;
    for (int y = 0; y < n; ++y)
        for (int x = 0; x < n; ++x) {
            const int dx = std::min(x, n - x), dy = std::min(y, n - y);
            kernel[y * n + x] = std::exp(-(dx * dx + dy * dy) / (2 * sigma * sigma));
        }
    std::vector<double> energy(count, 0);
    std::vector<char> on(count, 0);
    auto toggle = [&](int p, double s) {
        const int py = p / n, px = p % n;
        for (int y = 0; y < n; ++y)
            for (int x = 0; x < n; ++x)
                energy[y * n + x] += s * kernel[((y - py + n) % n) * n + (x - px + n) % n];
    };
    std::uint32_t seed = 1;
    std::vector<int> rank(count, 0);
    // initial
    int initial = count / 10;
    for (int i = 0; i < initial;) {
        seed = seed * 1664525u + 1013904223u;
        int p = int((seed >> 8) % unsigned(count));
        if (!on[p]) { on[p] = 1; toggle(p, 1); ++i; }
    }
    auto cluster = [&] { int b = -1; for (int i = 0; i < count; ++i) if (on[i] && (b < 0 || energy[i] > energy[b])) b = i; return b; };
    auto hole = [&] { int b = -1; for (int i = 0; i < count; ++i) if (!on[i] && (b < 0 || energy[i] < energy[b])) b = i; return b; };
    for (;;) {
        int c = cluster(); on[c] = 0; toggle(c, -1);
        int h = hole(); on[h] = 1; toggle(h, 1);
        if (h == c) break;
    }
    auto saved_on = on; auto saved_energy = energy;
    for (int r = initial - 1; r >= 0; --r) { int c = cluster(); on[c] = 0; toggle(c, -1); rank[c] = r; }
    on = saved_on; energy = saved_energy;
    for (int r = initial; r < count; ++r) { int h = hole(); on[h] = 1; toggle(h, 1); rank[h] = r; }
    return rank;
}

int threshold(int x, int y) {
    const auto ux = std::uint32_t(x), uy = std::uint32_t(y);
    switch (experiment()) {
    case 1: { // IGN
        const std::uint32_t t = ux * 288237617u + uy * 25070372u;
        return int(std::uint32_t((std::uint64_t(t) * 3472287617ull) >> 26) >> 22);
    }
    case 2: { // bayer 16
        int v = 0;
        for (int bit = 0; bit < 5; ++bit) {
            const int bx = (x >> bit) & 1, by = (y >> bit) & 1;
            v = v * 4 + ((bx ^ by) * 2 + by);
        }
        return v;
    }
    case 3: { // blue noise 32
        static const auto rank = blue_noise(32);
        return rank[(y & 31) * 32 + (x & 31)];
    }
    case 4: { // R2
        const std::uint32_t t = ux * 3242174889u + uy * 2447445414u;
        return int(t >> 22);
    }
    case 5: { // R2 triangle
        const std::uint32_t t = ux * 3242174889u + uy * 2447445414u;
        const std::uint32_t w = t & 0x80000000u ? ~t : t;
        return int(w >> 21);
    }
    case 6: { // white
        std::uint32_t h = ux * 0x9E3779B1u ^ uy * 0x85EBCA77u;
        h ^= h >> 15; h *= 0x2C1B3C6Du; h ^= h >> 12; h *= 0x297A2D39u; h ^= h >> 15;
        return int(h >> 22);
    }
    case 7: { // bayer 4
        int v = 0;
        for (int bit = 0; bit < 2; ++bit) {
            const int bx = (x >> bit) & 1, by = (y >> bit) & 1;
            v = v * 4 + ((bx ^ by) * 2 + by);
        }
        return v * 64 + 32;
    }
    default:
        return 512;
    }
}

} // namespace

void dither_to_grid(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                    const ExactColours &exact, std::span<std::uint8_t> bytes) {
    const std::uint16_t *from = light.data();
    std::uint8_t *to = bytes.data();
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x, from += 3, to += 3) {
            if (exact.hold(from) || experiment() < 0) {
                bytes_of_light({from, 3}, {to, 3});
                continue;
            }
            const int t = threshold(x, y);
            for (int i = 0; i < 3; ++i)
                to[i] = static_cast<std::uint8_t>(
                    4 * std::clamp((place_on(grid, from[i]) + t) >> 10, 0, 63) + 1);
        }
}

} // namespace oxel::tools
