#include "preparation/page.h"

#include <algorithm>

namespace oxel::tools {

namespace {

struct Box {
    int left;
    int top;
    int right; // exclusive, as is the bottom
    int bottom;

    /// Whether they are less than `gap` apart.
    bool meets(const Box &other, int gap) const {
        return left < other.right + gap && other.left < right + gap && top < other.bottom + gap &&
               other.top < bottom + gap;
    }

    void include(const Box &other) {
        left = std::min(left, other.left);
        top = std::min(top, other.top);
        right = std::max(right, other.right);
        bottom = std::max(bottom, other.bottom);
    }
};

/// Adds a box, merged with all that it meets.
void add(std::vector<Box> &boxes, Box box) {
    constexpr int gap = 16; // nearer ones have too little between them to be worth a cut
    for (std::size_t i = 0; i < boxes.size();)
        if (boxes[i].meets(box, gap)) {
            box.include(boxes[i]);
            boxes[i] = boxes.back();
            boxes.pop_back();
            i = 0; // the larger box may meet what the smaller one did not
        } else {
            ++i;
        }
    boxes.push_back(box);
}

/// The rectangles that hold all pixels without ink.
std::vector<Box> boxes_of(const InkPlane &inks, ImageSize size) {
    constexpr int tile = 16; // keeps the number of boxes down that must be compared
    std::vector<Box> boxes;
    for (int top = 0; top < size.height; top += tile)
        for (int left = 0; left < size.width; left += tile) {
            Box box{size.width, size.height, 0, 0};
            for (int y = top; y < std::min(top + tile, size.height); ++y)
                for (int x = left; x < std::min(left + tile, size.width); ++x)
                    if (inks[static_cast<std::size_t>(y) * static_cast<std::size_t>(size.width) +
                             static_cast<std::size_t>(x)] < 0)
                        box.include({x, y, x + 1, y + 1});
            if (box.right > 0)
                add(boxes, box);
        }
    std::sort(boxes.begin(), boxes.end(), [](const Box &one, const Box &other) {
        return std::pair(one.top, one.left) < std::pair(other.top, other.left);
    });
    return boxes;
}

/// Gives the pixels of ink in a row the bytes of the pixel before them, or behind if there is none.
/// Returns whether there is any without ink.
bool continue_row(std::span<const std::int16_t> inks, std::span<std::uint8_t> bytes) {
    const auto first = std::find_if(inks.begin(), inks.end(), [](int ink) { return ink < 0; });
    if (first == inks.end())
        return false;
    auto from = static_cast<std::size_t>(first - inks.begin());
    for (std::size_t x = 0; x < inks.size(); ++x)
        if (inks[x] < 0)
            from = x;
        else
            std::copy_n(&bytes[3 * from], 3, &bytes[3 * x]);
    return true;
}

PageRegion region_of(std::span<const std::uint8_t> bytes, const InkPlane &inks, ImageSize size,
                     const Box &box) {
    const ImageSize own{box.right - box.left, box.bottom - box.top};
    const int preroll = preroll_rows(own);
    PageRegion region{box.left, box.top, {{}, {own.width, own.height + preroll}, preroll}};
    region.picture.bytes.resize(3 * region.picture.size.pixels());
    const auto width = static_cast<std::size_t>(own.width);
    const std::span<std::uint8_t> all = region.picture.bytes;
    const auto picture = all.last(3 * own.pixels());
    for (int y = 0; y < own.height; ++y) {
        const std::size_t start =
            static_cast<std::size_t>(box.top + y) * static_cast<std::size_t>(size.width) +
            static_cast<std::size_t>(box.left);
        const auto row = picture.subspan(3 * width * static_cast<std::size_t>(y), 3 * width);
        std::copy_n(&bytes[3 * start], row.size(), row.begin());
        if (!continue_row(std::span(inks).subspan(start, width), row) && y > 0)
            std::copy_n(row.data() - row.size(), row.size(), row.data()); // the first row has some
    }
    mirror_above(all, own, preroll);
    return region;
}

} // namespace

Page prepare_page(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                  const ExactColours &exact, InkPlane inks) {
    Page page{size, std::move(inks), {}};
    if (page.inks.empty()) {
        page.regions.push_back({0, 0, prepare(light, size, grid, exact, preroll_rows(size))});
        return page;
    }
    std::vector<std::uint8_t> bytes(light.size());
    dither_to_grid(light, size, grid, exact, bytes);
    for (const Box &box : boxes_of(page.inks, size))
        page.regions.push_back(region_of(bytes, page.inks, size, box));
    return page;
}

} // namespace oxel::tools
