#include "preparation/inks.h"

#include "preparation/exact_colours.h"
#include "preparation/light.h"

#include <algorithm>
#include <optional>

namespace oxel::tools {

namespace {

constexpr std::size_t least_area = 16; // pixels; specks of photographs are smaller
constexpr int reach = 3;               // pixels that smoothing spreads to, and half a thin stroke

using Bytes3 = std::array<std::uint8_t, 3>;

/// How clearly a coloured ink is the pure colour of these bits, of 100; 0 if it is not.
int clearness(std::span<const std::uint8_t> ink, int bits) {
    const auto [low, high] = std::minmax({ink[0], ink[1], ink[2]});
    const int range = high - low;
    if (range < 24) // grey
        return 0;
    int clear = 100;
    for (std::size_t c = 0; c < 3; ++c) {
        const int place = 100 * (ink[c] - low) / range;
        const int right = (bits >> c & 1) != 0 ? place - 60 : 48 - place;
        if (right < 0)
            return 0;
        clear = std::min(clear, right + 1);
    }
    return clear;
}

int luminance(std::span<const std::uint8_t> ink) {
    return 2126 * light_of_byte(ink[0]) / 100 + 7152 * light_of_byte(ink[1]) / 100 +
           722 * light_of_byte(ink[2]) / 100;
}

/// How far from `from` to `to` a colour lies, in 256ths, or nothing if it is no mixture of them.
std::optional<int> share(const Bytes3 &colour, const Bytes3 &from, const Bytes3 &to, int &miss) {
    constexpr int tolerance = 12; // a mixture in light of colours that are not pure bends this far
    int along = 0;
    int length = 0;
    for (std::size_t c = 0; c < 3; ++c) {
        along += (colour[c] - from[c]) * (to[c] - from[c]);
        length += (to[c] - from[c]) * (to[c] - from[c]);
    }
    if (length == 0)
        return std::nullopt;
    const int part = std::clamp(256 * along / length, 0, 256);
    miss = 0;
    for (std::size_t c = 0; c < 3; ++c) {
        const int apart = colour[c] - from[c] - part * (to[c] - from[c]) / 256;
        miss += apart * apart;
    }
    return miss <= tolerance * tolerance ? std::optional(part) : std::nullopt;
}

class Finder {
  public:
    Finder(std::span<const std::uint16_t> light, ImageSize size, const InkColours &colours)
        : light_(light), size_(size), colours_(colours), plane_(size.pixels(), -1) {}

    InkPlane find() {
        if (!find_areas())
            return {};
        const InkPlane areas = plane_;
        for (int y = 0; y < size_.height; ++y)
            for (int x = 0; x < size_.width; ++x)
                if (areas[at(x, y)] < 0)
                    plane_[at(x, y)] = static_cast<std::int16_t>(edge(areas, x, y));
        return std::move(plane_);
    }

  private:
    std::size_t at(int x, int y) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(size_.width) +
               static_cast<std::size_t>(x);
    }

    bool inside(int x, int y) const {
        return x >= 0 && y >= 0 && x < size_.width && y < size_.height;
    }

    Bytes3 colour(std::size_t pixel) const {
        Bytes3 bytes{};
        bytes_of_light(light_.subspan(3 * pixel, 3), bytes);
        return bytes;
    }

    /// Puts the areas of ink into the plane. Returns whether there are any.
    bool find_areas() {
        InkPlane exact(size_.pixels());
        for (std::size_t i = 0; i < exact.size(); ++i)
            exact[i] = static_cast<std::int16_t>(colours_.ink_of(&light_[3 * i]));
        std::vector<std::size_t> spots; // of less than the least area, one after the other
        std::vector<std::size_t> lengths;
        std::vector<std::size_t> area;
        bool any = false;
        for (std::size_t start = 0; start < exact.size(); ++start) {
            const std::int16_t ink = exact[start];
            if (ink < 0)
                continue;
            fill(exact, start, area);
            if (area.size() >= least_area) {
                any = true;
                for (const std::size_t pixel : area)
                    plane_[pixel] = ink;
            } else {
                inks_of_spots_.push_back(ink);
                lengths.push_back(area.size());
                spots.insert(spots.end(), area.begin(), area.end());
            }
        }
        if (any)
            add_spots(spots, lengths);
        return any;
    }

    /// Lists the pixels of the start's ink that are connected with it, and takes them out.
    void fill(InkPlane &exact, std::size_t start, std::vector<std::size_t> &area) const {
        const std::int16_t ink = exact[start];
        const auto width = static_cast<std::size_t>(size_.width);
        area.assign(1, start);
        exact[start] = -1;
        for (std::size_t i = 0; i < area.size(); ++i) {
            const std::size_t pixel = area[i];
            const auto visit = [&](bool there, std::size_t next) {
                if (there && exact[next] == ink) {
                    exact[next] = -1;
                    area.push_back(next);
                }
            };
            visit(pixel % width > 0, pixel - 1);
            visit(pixel % width + 1 < width, pixel + 1);
            visit(pixel >= width, pixel - width);
            visit(pixel + width < exact.size(), pixel + width);
        }
    }

    /// Spots that touch an area are dots and strokes of what is drawn on it.
    void add_spots(std::span<const std::size_t> spots, std::span<const std::size_t> lengths) {
        const InkPlane areas = plane_;
        std::size_t begin = 0;
        for (std::size_t i = 0; i < lengths.size(); begin += lengths[i], ++i) {
            const auto spot = spots.subspan(begin, lengths[i]);
            if (std::any_of(spot.begin(), spot.end(),
                            [&](std::size_t pixel) { return touches(areas, pixel); }))
                for (const std::size_t pixel : spot)
                    plane_[pixel] = inks_of_spots_[i];
        }
    }

    bool touches(const InkPlane &areas, std::size_t pixel) const {
        const int x0 = static_cast<int>(pixel % static_cast<std::size_t>(size_.width));
        const int y0 = static_cast<int>(pixel / static_cast<std::size_t>(size_.width));
        for (int y = y0 - 1; y <= y0 + 1; ++y)
            for (int x = x0 - 1; x <= x0 + 1; ++x)
                if (inside(x, y) && areas[at(x, y)] >= 0)
                    return true;
        return false;
    }

    /// The first pixel of ink from here, at most `reach` away.
    std::optional<std::size_t> look(const InkPlane &areas, int x, int y, int dx, int dy) const {
        for (int i = 0; i < reach; ++i) {
            x += dx;
            y += dy;
            if (!inside(x, y))
                return std::nullopt;
            if (areas[at(x, y)] >= 0)
                return at(x, y);
        }
        return std::nullopt;
    }

    /// The ink of a pixel that lies between pixels of ink and is mixed of them, or -1.
    int edge(const InkPlane &areas, int x, int y) const {
        static constexpr int directions[][2] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
        std::optional<std::size_t> ground;
        for (const auto &[dx, dy] : directions) {
            const auto before = look(areas, x, y, -dx, -dy);
            const auto after = before ? look(areas, x, y, dx, dy) : std::nullopt;
            if (!after)
                continue;
            int miss = 0;
            if (areas[*before] == areas[*after]) {
                ground = before;
            } else if (const auto part = share(colour(at(x, y)), colour(*before), colour(*after),
                                               miss)) {
                return *part < 128 ? areas[*before] : areas[*after];
            }
        }
        return ground ? stroke(areas, x, y, *ground) : -1;
    }

    /// The ink of a pixel of a thin stroke on the ink of `ground`, or -1.
    int stroke(const InkPlane &areas, int x, int y, std::size_t ground) const {
        const Bytes3 from = colour(ground);
        const Bytes3 own = colour(at(x, y));
        const InkColours::Colour *best = nullptr;
        int least_miss = 0;
        int part = 0;
        for (const InkColours::Colour &to : colours_.colours()) {
            int miss = 0;
            const auto mixed = share(own, from, to.bytes, miss);
            if (mixed && (best == nullptr || miss < least_miss)) {
                best = &to;
                least_miss = miss;
                part = *mixed;
            }
        }
        if (best == nullptr)
            return -1;
        int most = part;
        for (int v = std::max(y - 1, 0); v <= std::min(y + 1, size_.height - 1); ++v)
            for (int u = std::max(x - 1, 0); u <= std::min(x + 1, size_.width - 1); ++u) {
                int miss = 0;
                if (const auto other = share(colour(at(u, v)), from, best->bytes, miss))
                    most = std::max(most, *other);
            }
        constexpr int faint = 40; // less than a sixth of the ink is the smoothing's outermost
        return part >= faint && 2 * part >= most ? best->ink : areas[ground];
    }

    std::span<const std::uint16_t> light_;
    ImageSize size_;
    const InkColours &colours_;
    InkPlane plane_;
    std::vector<std::int16_t> inks_of_spots_;
};

} // namespace

InkColours::InkColours(std::span<const std::uint8_t> palette, Inks inks) {
    const std::size_t count = palette.size() / 3;
    const auto ink = [&](std::size_t i) { return palette.subspan(3 * i, 3); };
    if (inks == Inks::automatic || inks == Inks::measured)
        for (std::size_t i = 0; i < count; ++i)
            add({ink(i)[0], ink(i)[1], ink(i)[2]}, static_cast<int>(i));
    if (count == 0 || inks == Inks::off || inks == Inks::measured)
        return;
    std::size_t black = 0;
    std::size_t white = 0;
    for (std::size_t i = 1; i < count; ++i) {
        if (luminance(ink(i)) < luminance(ink(black)))
            black = i;
        if (luminance(ink(i)) > luminance(ink(white)))
            white = i;
    }
    add({0, 0, 0}, static_cast<int>(black));
    add({255, 255, 255}, static_cast<int>(white));
    for (int bits = 1; bits < 7; ++bits) {
        int clearest = 0;
        std::size_t chosen = 0;
        for (std::size_t i = 0; i < count; ++i)
            if (const int clear = clearness(ink(i), bits);
                i != black && i != white && clear > clearest) {
                clearest = clear;
                chosen = i;
            }
        const auto channel = [&](int c) {
            return static_cast<std::uint8_t>((bits >> c & 1) != 0 ? 255 : 0);
        };
        if (clearest > 0)
            add({channel(0), channel(1), channel(2)}, static_cast<int>(chosen));
    }
}

void InkColours::add(const std::array<std::uint8_t, 3> &bytes, int ink) {
    Colour colour{bytes, {}, ink};
    light_of_bytes(bytes, colour.light);
    colours_.push_back(colour);
}

int InkColours::ink_of(const std::uint16_t *light) const {
    for (const Colour &colour : colours_)
        if (ExactColours::near(light[0], colour.light[0]) &&
            ExactColours::near(light[1], colour.light[1]) &&
            ExactColours::near(light[2], colour.light[2]))
            return colour.ink;
    return -1;
}

InkPlane find_inks(std::span<const std::uint16_t> light, ImageSize size,
                   const InkColours &colours) {
    return colours.colours().empty() ? InkPlane() : Finder(light, size, colours).find();
}

} // namespace oxel::tools
