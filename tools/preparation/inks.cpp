#include "preparation/inks.h"

#include "preparation/grid.h"
#include "preparation/light.h"

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace oxel::tools {

namespace {

constexpr std::size_t large_area = 256;
constexpr std::uint32_t no_ground = UINT32_MAX;
constexpr int smoothing = 3; // pixels that smoothing spreads to, and half a thin stroke
constexpr int border = 4;    // pixels beside ink that its error would reach

/// Steps to the right, down, and aslant.
struct Step {
    int x;
    int y;
};
constexpr Step straight[] = {{1, 0}, {0, 1}};
constexpr Step all_steps[] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};

/// How a colour lies to the line from one to another.
struct Mixture {
    int share;         // of the other one, in 256ths
    std::int64_t miss; // square of the distance from the line
};

template <class Channel>
Mixture mix(std::span<const Channel> colour, std::span<const Channel> from,
            std::span<const Channel> to) {
    std::int64_t along = 0;
    std::int64_t length = 0;
    for (std::size_t c = 0; c < 3; ++c) {
        along += std::int64_t{colour[c] - from[c]} * (to[c] - from[c]);
        length += std::int64_t{to[c] - from[c]} * (to[c] - from[c]);
    }
    const std::int64_t share = length == 0 ? 0 : 256 * along / length;
    std::int64_t miss = 0;
    for (std::size_t c = 0; c < 3; ++c) {
        const std::int64_t apart = colour[c] - from[c] - share * (to[c] - from[c]) / 256;
        miss += apart * apart;
    }
    return {static_cast<int>(std::clamp(share, std::int64_t{0}, std::int64_t{256})), miss};
}

/// Not 0 for the pixels that are marked.
using Marks = std::vector<std::uint8_t>;

Marks inks_in(const InkPlane &plane) {
    Marks marks(plane.size());
    for (std::size_t i = 0; i < plane.size(); ++i)
        marks[i] = plane[i] >= 0;
    return marks;
}

/// Marks what is at most `reach` rows and columns away from what is marked.
Marks spread(const Marks &marks, ImageSize size, int reach) {
    const auto width = static_cast<std::size_t>(size.width);
    const auto height = static_cast<std::size_t>(size.height);
    const auto far = static_cast<std::uint8_t>(reach + 1);
    const auto go_on = [far](std::uint8_t &away, const Marks &from, Marks &to, std::size_t i) {
        away = static_cast<std::uint8_t>(from[i] != 0 ? 0 : away + (away < far));
        to[i] |= away < far;
    };
    Marks columns(marks.size());
    for (const bool up : {false, true}) {
        std::vector<std::uint8_t> away(width, far);
        for (std::size_t i = 0; i < height; ++i)
            for (std::size_t x = 0; x < width; ++x)
                go_on(away[x], marks, columns, (up ? height - 1 - i : i) * width + x);
    }
    Marks both(marks.size());
    for (std::size_t start = 0; start < both.size(); start += width) {
        std::uint8_t away = far;
        for (std::size_t x = 0; x < width; ++x)
            go_on(away, columns, both, start + x);
        away = far;
        for (std::size_t x = width; x-- > 0;)
            go_on(away, columns, both, start + x);
    }
    return both;
}

class Finder {
  public:
    Finder(std::span<const std::uint16_t> light, ImageSize size, const InkColours &colours)
        : light_(light), size_(size), colours_(colours) {}

    InkPlane find() {
        if (!find_areas())
            return {};
        // Where strokes meet, pixels lie between those that are settled first.
        int passes = 3;
        while (passes > 0 && settle_edges())
            --passes;
        InkPlane plane = areas_;
        const Marks beside = spread(inks_in(plane), size_, border);
        for (std::size_t pixel = 0; pixel < plane.size(); ++pixel)
            if (beside[pixel] != 0 && plane[pixel] < 0)
                plane[pixel] = beside_ink;
        return plane;
    }

  private:
    using Place = std::optional<std::size_t>;

    Place at(int x, int y) const {
        if (x < 0 || y < 0 || x >= size_.width || y >= size_.height)
            return std::nullopt;
        return std::size_t(y) * std::size_t(size_.width) + std::size_t(x);
    }

    int x_of(std::size_t pixel) const { return int(pixel % std::size_t(size_.width)); }
    int y_of(std::size_t pixel) const { return int(pixel / std::size_t(size_.width)); }

    Place moved(std::size_t pixel, Step step, int times = 1) const {
        return at(x_of(pixel) + times * step.x, y_of(pixel) + times * step.y);
    }

    /// Calls visit(pixel beside, step, way) for those at the four sides.
    template <class Visit>
    void for_each_beside(std::size_t pixel, Visit visit) const {
        const auto width = static_cast<std::size_t>(size_.width);
        const std::size_t x = pixel % width;
        if (x > 0)
            visit(pixel - 1, straight[0], -1);
        if (x + 1 < width)
            visit(pixel + 1, straight[0], 1);
        if (pixel >= width)
            visit(pixel - width, straight[1], -1);
        if (pixel + width < exact_.size())
            visit(pixel + width, straight[1], 1);
    }

    std::span<const std::uint8_t> colour(std::size_t pixel) const {
        return std::span(bytes_).subspan(3 * pixel, 3);
    }

    /// The largest difference of a channel.
    int apart(std::size_t one, std::size_t other) const {
        int most = 0;
        for (std::size_t c = 0; c < 3; ++c)
            most = std::max(most, std::abs(colour(one)[c] - colour(other)[c]));
        return most;
    }

    /// Finds the areas, and the spots beside them. Returns whether there are any.
    bool find_areas() {
        exact_.resize(size_.pixels());
        for (std::size_t i = 0; i < exact_.size(); ++i)
            exact_[i] = static_cast<std::int16_t>(colours_.ink_of(&light_[3 * i]));
        areas_.assign(exact_.size(), diffused);
        large_.resize(exact_.size());
        Marks seen(exact_.size());
        std::vector<std::size_t> spots; // one after the other
        std::vector<std::size_t> ends;  // of each
        std::vector<std::size_t> area;
        bool any = false;
        for (std::size_t start = 0; start < exact_.size(); ++start) {
            if (exact_[start] < 0 || seen[start] != 0)
                continue;
            collect(start, seen, area);
            if (area.size() < least_ink_area) {
                spots.insert(spots.end(), area.begin(), area.end());
                ends.push_back(spots.size());
            } else if (is_drawn(area)) {
                any = true;
                for (const std::size_t pixel : area) {
                    areas_[pixel] = exact_[pixel];
                    large_[pixel] = area.size() >= large_area;
                }
            }
        }
        if (any) {
            find_grounds();
            add_spots(spots, ends);
        }
        return any;
    }

    /// Text stands on what lies to its left, as far as that is large.
    void find_grounds() {
        grounds_.assign(areas_.size(), no_ground);
        const auto width = static_cast<std::size_t>(size_.width);
        for (std::size_t i = 0; i < areas_.size(); ++i)
            if (large_[i] != 0)
                grounds_[i] = static_cast<std::uint32_t>(i);
            else if (i % width > 0)
                grounds_[i] = grounds_[i - 1];
    }

    Place ground_of(std::size_t pixel) const {
        return grounds_[pixel] == no_ground ? std::nullopt : Place(grounds_[pixel]);
    }

    /// Lists the pixels of the start's ink that are connected with it.
    void collect(std::size_t start, Marks &seen, std::vector<std::size_t> &area) const {
        area.assign(1, start);
        seen[start] = 1;
        for (std::size_t i = 0; i < area.size(); ++i)
            for_each_beside(area[i], [&](std::size_t next, Step, int) {
                if (exact_[next] == exact_[start] && seen[next] == 0) {
                    seen[next] = 1;
                    area.push_back(next);
                }
            });
    }

    /// Whether an area ends at edges, for the greater part. In a photograph what is as light or as
    /// dark as can be begins where a slope ends.
    bool is_drawn(std::span<const std::size_t> area) {
        if (bytes_.empty())
            bytes_ = bytes_of(light_);
        std::size_t edges = 0;
        std::size_t slopes = 0;
        for (const std::size_t pixel : area)
            for_each_beside(pixel, [&](std::size_t next, Step step, int way) {
                if (exact_[next] != exact_[pixel])
                    ++(is_slope(pixel, next, moved(next, step, way)) ? slopes : edges);
            });
        return slopes <= edges;
    }

    /// Whether a picture goes on evenly from a pixel of ink by the next one to the one behind it.
    bool is_slope(std::size_t pixel, std::size_t next, Place behind) const {
        constexpr int unseen = 4;
        constexpr int even = 24;
        const int rise = apart(pixel, next);
        return rise <= unseen || (rise <= even && behind && apart(pixel, *behind) > rise &&
                                  apart(next, *behind) <= even);
    }

    /// Spots beside an area are dots of what is drawn on it, or what a stroke encloses.
    void add_spots(std::span<const std::size_t> spots, std::span<const std::size_t> ends) {
        const Marks beside = spread(inks_in(areas_), size_, smoothing);
        std::size_t begin = 0;
        for (const std::size_t end : ends) {
            const auto spot = spots.subspan(begin, end - begin);
            if (std::any_of(spot.begin(), spot.end(),
                            [&](std::size_t i) { return beside[i] != 0; }))
                for (const std::size_t pixel : spot)
                    areas_[pixel] = exact_[pixel];
            begin = end;
        }
    }

    /// Settles pixels between inks. Returns whether there were any.
    bool settle_edges() {
        const Marks near = spread(inks_in(areas_), size_, smoothing);
        InkPlane plane = areas_;
        bool any = false;
        for (std::size_t pixel = 0; pixel < plane.size(); ++pixel)
            if (near[pixel] != 0 && plane[pixel] < 0) {
                plane[pixel] = edge(pixel);
                any |= plane[pixel] >= 0;
            }
        areas_ = std::move(plane);
        return any;
    }

    /// How far the first pixel of ink is that way, at most `smoothing`; or 0.
    int distance(std::size_t pixel, Step step, int way) const {
        for (int i = 1; i <= smoothing; ++i) {
            const Place place = moved(pixel, step, i * way);
            if (!place)
                return 0;
            if (areas_[*place] >= 0)
                return i;
        }
        return 0;
    }

    /// What a pixel becomes that may lie between pixels of ink.
    std::int16_t edge(std::size_t pixel) const {
        Place ground;
        std::int16_t nearer = diffused;
        for (const Step step : all_steps) {
            const int before = distance(pixel, step, -1);
            const int after = before > 0 ? distance(pixel, step, 1) : 0;
            if (after == 0)
                continue;
            const std::size_t first = *moved(pixel, step, -before);
            const std::size_t last = *moved(pixel, step, after);
            const int flat = longest_flat(pixel, step, -before, after);
            const Place own = ground_of(pixel);
            if (areas_[first] == areas_[last]) {
                if (flat < 3 && (step.x == 0 || step.y == 0))
                    // Aslant, that would be the corner of a photograph too.
                    ground = own && is_mixed(pixel, *own, first) ? *own : first;
            } else if (flat < 2 && is_mixed(pixel, first, last)) {
                const bool on_own =
                    own && (areas_[first] == areas_[*own] || areas_[last] == areas_[*own]);
                if (on_own && (large_[first] == 0 || large_[last] == 0))
                    ground = own;
                else
                    nearer =
                        mix<std::uint8_t>(colour(pixel), colour(first), colour(last)).share < 128
                            ? areas_[first]
                            : areas_[last];
            }
        }
        return ground ? stroke(pixel, *ground) : nearer;
    }

    /// The longest row of pixels of one colour that is no ink, between two places from here.
    int longest_flat(std::size_t pixel, Step step, int before, int after) const {
        int longest = 0;
        int length = 0;
        for (int i = before + 1; i < after; ++i) {
            const std::size_t place = *moved(pixel, step, i);
            const bool same = length > 0 && apart(place, *moved(pixel, step, i - 1)) <= 2;
            length = exact_[place] >= 0 ? 0 : same ? length + 1 : 1;
            longest = std::max(longest, length);
        }
        return longest;
    }

    /// Whether a pixel is mixed of two others, in bytes as browsers do it or in light.
    bool is_mixed(std::size_t pixel, std::size_t one, std::size_t other) const {
        const auto light = [&](std::size_t place) { return light_.subspan(3 * place, 3); };
        const auto high_bytes = [&](std::size_t place) {
            const auto channels = light(place);
            return std::array<int, 3>{channels[0] >> 8, channels[1] >> 8, channels[2] >> 8};
        };
        return mix<std::uint8_t>(colour(pixel), colour(one), colour(other)).miss <= most_miss ||
               mix<int>(high_bytes(pixel), high_bytes(one), high_bytes(other)).miss <= most_miss;
    }

    /// What a pixel of a thin stroke on this ground becomes.
    std::int16_t stroke(std::size_t pixel, std::size_t ground) const {
        const InkColours::Colour *ink = nullptr;
        Mixture mixture{0, most_miss + rounding + 1};
        for (const InkColours::Colour &other : colours_.colours())
            if (const Mixture with = mix<std::uint8_t>(colour(pixel), colour(ground), other.bytes);
                other.ink != areas_[ground] && with.miss + rounding < mixture.miss) {
                ink = &other;
                mixture = with;
            }
        if (ink == nullptr)
            return diffused;
        int most = mixture.share; // of the ink, beside the pixel
        int most_around = most;   // and two pixels about it
        for (int y = -2; y <= 2; ++y)
            for (int x = -2; x <= 2; ++x)
                if (const Place place = moved(pixel, {x, y})) {
                    const Mixture with =
                        mix<std::uint8_t>(colour(*place), colour(ground), ink->bytes);
                    if (with.miss > most_miss)
                        continue;
                    most_around = std::max(most_around, with.share);
                    if (std::abs(x) <= 1 && std::abs(y) <= 1)
                        most = std::max(most, with.share);
                }
        constexpr int clear = 100; // what a stroke of half a pixel has at least
        constexpr int faint = 40;  // the outermost of smoothing has less
        constexpr int ripple = 16; // what a resize leaves beside edges
        const bool taken = most_around >= clear
                               ? mixture.share >= faint &&
                                     5 * mixture.share >= 2 * (most >= clear ? most : most_around)
                               : mixture.share >= ripple && is_dot(pixel, ground, *ink);
        return taken ? static_cast<std::int16_t>(ink->ink) : areas_[ground];
    }

    /// Whether a pixel is one of as many of the ink as keep the light of a faint stroke.
    bool is_dot(std::size_t pixel, std::size_t ground, const InkColours::Colour &ink) const {
        const auto light = [&](std::size_t place) { return light_.subspan(3 * place, 3); };
        const int share = mix<std::uint16_t>(light(pixel), light(ground), ink.light).share;
        return 4 * share > grid_threshold(std::uint32_t(x_of(pixel)), std::uint32_t(y_of(pixel)));
    }

    static constexpr int most_miss = 12 * 12; // which roundings of a resize leave
    static constexpr int rounding = 12;       // of bytes: black and a grey are missed alike

    std::span<const std::uint16_t> light_;
    ImageSize size_;
    const InkColours &colours_;
    InkPlane exact_; // the ink that each pixel is exactly
    InkPlane areas_;
    Marks large_;                        // areas on which text may stand
    std::vector<std::uint32_t> grounds_; // a pixel of the one that each may stand on
    std::vector<std::uint8_t> bytes_;    // the picture's; empty as long as nobody has asked
};

} // namespace

InkPlane find_inks(std::span<const std::uint16_t> light, ImageSize size,
                   const InkColours &colours) {
    return colours.colours().empty() ? InkPlane() : Finder(light, size, colours).find();
}

} // namespace oxel::tools
