#include "render/line_pairs.h"

#include "Oxel_Morvel6_render.h"

namespace oxel::tools {

namespace {

/// The share of each palette index in two rows.
std::vector<double> shares(const Bytes &codes, ImageSize size, std::size_t pair, int palette_size) {
    const auto pixels = 2 * static_cast<std::size_t>(size.width);
    std::vector<double> shares(static_cast<std::size_t>(palette_size));
    for (std::size_t i = pair * pixels; i < (pair + 1) * pixels; ++i)
        if (codes[3 * i] < palette_size)
            shares[codes[3 * i]] += 1;
    for (double &share : shares)
        share /= static_cast<double>(pixels);
    return shares;
}

} // namespace

std::vector<std::vector<double>> line_pair_changes(const Bytes &codes, ImageSize size,
                                                   int palette_size) {
    std::vector<std::vector<double>> changes;
    std::vector<double> before;
    for (std::size_t pair = 0; pair < static_cast<std::size_t>(size.height / 2); ++pair) {
        std::vector<double> now = shares(codes, size, pair, palette_size);
        std::vector<double> change(now.size());
        for (std::size_t i = 0; i < before.size(); ++i)
            change[i] = my_pow(now[i] - before[i], 2.0); // as the library squares
        changes.push_back(std::move(change));
        before = std::move(now);
    }
    return changes;
}

double guard_measure(const std::vector<std::vector<double>> &changes) {
    double sum = 0;
    for (const auto &pair : changes)
        for (const double change : pair)
            sum += change;
    return sum;
}

} // namespace oxel::tools
