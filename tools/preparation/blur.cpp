#include "preparation/blur.h"

#include <algorithm>
#include <cmath>

namespace oxel::tools {

namespace {

/// One row, or one row of columns: `lanes` neighbouring sums are kept at once.
void box_rows(const float *from, float *to, int length, int radius) {
    double sum = 0;
    int count = 0;
    for (int x = 0; x < std::min(radius, length); ++x, ++count)
        sum += double(from[x]);
    for (int x = 0; x < length; ++x) {
        if (x + radius < length) {
            sum += double(from[x + radius]);
            ++count;
        }
        to[x] = static_cast<float>(sum / count);
        if (x - radius >= 0) {
            sum -= double(from[x - radius]);
            --count;
        }
    }
}

struct Reduced {
    Plane plane;
    ImageSize size;
};

/// The means of squares of `factor` pixels each way; fewer at the right and lower edges.
Reduced reduce(const Plane &plane, ImageSize size, int factor) {
    Reduced reduced{{}, {(size.width + factor - 1) / factor, (size.height + factor - 1) / factor}};
    reduced.plane.resize(reduced.size.pixels());
    std::vector<double> sums(std::size_t(reduced.size.width));
    for (int row = 0; row < reduced.size.height; ++row) {
        std::fill(sums.begin(), sums.end(), 0.0);
        const int top = row * factor;
        const int bottom = std::min(top + factor, size.height);
        for (int y = top; y < bottom; ++y) {
            const float *from = plane.data() + std::size_t(y) * std::size_t(size.width);
            for (int x = 0; x < size.width; ++x)
                sums[std::size_t(x / factor)] += double(from[x]);
        }
        float *to = reduced.plane.data() + std::size_t(row) * std::size_t(reduced.size.width);
        for (int column = 0; column < reduced.size.width; ++column) {
            const int wide = std::min(factor, size.width - column * factor);
            to[column] = static_cast<float>(sums[std::size_t(column)] / (wide * (bottom - top)));
        }
    }
    return reduced;
}

/// The two pixels of a reduced row that a pixel lies between, and how near it is to the second.
struct Between {
    int first;
    int second;
    float share;
};

std::vector<Between> places(int length, int reduced_length, int factor) {
    std::vector<Between> places;
    for (int x = 0; x < length; ++x) {
        const int twice = 2 * x + 1 - factor; // in half pixels, from the middle of the first square
        const int first = std::max(twice, 0) / (2 * factor);
        const float share =
            static_cast<float>(std::max(twice, 0) % (2 * factor)) / static_cast<float>(2 * factor);
        const int last = reduced_length - 1;
        places.push_back({std::min(first, last), std::min(first + 1, last), share});
    }
    return places;
}

Plane enlarge(const Reduced &reduced, ImageSize size, int factor) {
    Plane plane(size.pixels());
    const auto columns = places(size.width, reduced.size.width, factor);
    const auto rows = places(size.height, reduced.size.height, factor);
    const auto wide = std::size_t(reduced.size.width);
    Plane row(wide);
    for (int y = 0; y < size.height; ++y) {
        const Between &vertical = rows[std::size_t(y)];
        const float *first = reduced.plane.data() + std::size_t(vertical.first) * wide;
        const float *second = reduced.plane.data() + std::size_t(vertical.second) * wide;
        for (std::size_t x = 0; x < wide; ++x)
            row[x] = first[x] + vertical.share * (second[x] - first[x]);
        float *to = plane.data() + std::size_t(y) * std::size_t(size.width);
        for (std::size_t x = 0; x < columns.size(); ++x) {
            const float left = row[std::size_t(columns[x].first)];
            to[x] = left + columns[x].share * (row[std::size_t(columns[x].second)] - left);
        }
    }
    return plane;
}

} // namespace

Plane box_blur(const Plane &plane, ImageSize size, int radius) {
    const auto width = std::size_t(size.width);
    Plane rows(plane.size());
    for (std::size_t y = 0; y < std::size_t(size.height); ++y)
        box_rows(plane.data() + y * width, rows.data() + y * width, size.width, radius);
    Plane blurred(plane.size());
    std::vector<double> sums(width);
    const auto add = [&](int y, double sign) {
        const float *row = rows.data() + std::size_t(y) * width;
        for (std::size_t x = 0; x < width; ++x)
            sums[x] += sign * double(row[x]);
    };
    for (int y = 0; y < std::min(radius, size.height); ++y)
        add(y, 1);
    for (int y = 0; y < size.height; ++y) {
        if (y + radius < size.height)
            add(y + radius, 1);
        const int count = std::min(y + radius, size.height - 1) - std::max(y - radius, 0) + 1;
        float *to = blurred.data() + std::size_t(y) * width;
        for (std::size_t x = 0; x < width; ++x)
            to[x] = static_cast<float>(sums[x] / count);
        if (y - radius >= 0)
            add(y - radius, -1);
    }
    return blurred;
}

Plane blur(const Plane &plane, ImageSize size, float sigma) {
    // Three boxes of radius r have the variance r (r + 1).
    if (sigma >= 8) {
        const int factor = static_cast<int>(sigma / 4);
        Reduced reduced = reduce(plane, size, factor);
        reduced.plane = blur(reduced.plane, reduced.size, sigma / static_cast<float>(factor));
        return enlarge(reduced, size, factor);
    }
    const int radius = std::max(1, static_cast<int>(std::sqrt(sigma * sigma + 0.25F)));
    return box_blur(box_blur(box_blur(plane, size, radius), size, radius), size, radius);
}

} // namespace oxel::tools
