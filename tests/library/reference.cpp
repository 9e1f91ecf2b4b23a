#include "reference.h"

#include "Oxel_Morvel6_render.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

// Weights from two pixels behind to two ahead, the pixel's own row and two below it.
constexpr const char *kernels[] = {"00070"
                                   "03510"
                                   "00000",
                                   "00075"
                                   "35753"
                                   "13531",
                                   "00084"
                                   "24842"
                                   "12421"};
constexpr double divisors[] = {16, 48, 42};

std::size_t cell_of(const std::array<int, 3> &rgb) {
    return static_cast<std::size_t>(rgb[0] / 4 * 64 * 64 + rgb[1] / 4 * 64 + rgb[2] / 4);
}

} // namespace

Bytes reference_dithering(const Tables &tables, const Bytes &mapped, int width, int height,
                          std::uint32_t mode) {
    const auto at = [&](int x, int y) { return static_cast<std::size_t>(y * width + x); };
    std::vector<std::array<int, 3>> error_plane(at(0, height));
    Bytes indices(at(0, height));
    for (int y = 0; y < height; ++y) {
        const int direction = mode % 2 == 1 && y % 2 == 1 ? -1 : 1;
        for (int step = 0; step < width; ++step) {
            const int x = direction == 1 ? step : width - 1 - step;
            std::array<int, 3> value;
            for (std::size_t c = 0; c < 3; ++c)
                value[c] = std::clamp(mapped[3 * at(x, y) + c] + error_plane[at(x, y)][c], 0, 255);
            const std::uint8_t index = indices[at(x, y)] = tables.quantisation[cell_of(value)];
            for (int place = 0; place < 15; ++place) {
                const int weight = kernels[mode / 2][place] - '0';
                const int to_x = x + direction * (place % 5 - 2), to_y = y + place / 5;
                if (to_x < 0 || to_x >= width || to_y >= height)
                    continue;
                for (std::size_t c = 0; c < 3; ++c) {
                    const double share =
                        weight * (value[c] - tables.palette[3U * index + c]) / divisors[mode / 2];
                    error_plane[at(to_x, to_y)][c] +=
                        static_cast<int>(mode < 2 ? std::floor(share) : std::trunc(share));
                }
            }
        }
    }
    return indices;
}

Bytes reference_indices(const Tables &tables, const Case &c, int rows_down) {
    const std::size_t above = 3 * static_cast<std::size_t>(c.width * rows_down);
    Bytes input(above);
    input.insert(input.end(), c.input.begin(), c.input.end() - static_cast<std::ptrdiff_t>(above));
    Bytes mapped(input.size());
    for (std::size_t i = 0; i < input.size(); i += 3) {
        if (c.rgb_order == ORDER_BGR)
            std::swap(input[i], input[i + 2]);
        const std::size_t cell = cell_of({input[i], input[i + 1], input[i + 2]});
        std::copy_n(&tables.gamut[3 * cell], 3, &mapped[i]);
    }
    return reference_dithering(tables, mapped, c.width, c.height, c.mode);
}

Bytes reference_output(const Tables &tables, const Bytes &indices, std::uint32_t output_order,
                       int output_type) {
    constexpr std::uint8_t nominal[6][3] = {{0, 0, 0},   {255, 255, 255}, {255, 255, 0},
                                            {255, 0, 0}, {0, 255, 0},     {0, 0, 255}};
    Bytes output;
    for (const std::size_t index : indices) {
        const std::uint8_t code = tables.codes[index];
        const std::uint8_t codes[] = {code, code, code};
        const std::uint8_t *colour = output_type == OUTPUT_TCON_CODE ? codes
                                     : output_type == OUTPUT_NOMINAL_RGB
                                         ? nominal[index]
                                         : &tables.palette[3 * index];
        output.insert(output.end(), colour, colour + 3);
        if (output_order == ORDER_BGR)
            std::swap(output.end()[-3], output.end()[-1]);
    }
    return output;
}

double reference_measure(const Bytes &indices, int width, int height, int colours) {
    const auto share = [&](int pair, int index) {
        const auto start = indices.begin() + pair * 2 * width;
        return static_cast<double>(std::count(start, start + 2 * width, index)) / (2 * width);
    };
    double sum = 0.0;
    for (int pair = 1; pair < height / 2; ++pair)
        for (int index = 0; index < colours; ++index)
            sum += my_pow(share(pair, index) - share(pair - 1, index), 2.0);
    return sum;
}
