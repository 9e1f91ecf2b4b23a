#include "preparation/inks.h"

#include "preparation/grid.h"
#include "preparation/ink_runs.h"
#include "preparation/light.h"
#include "preparation/pixel_marks.h"

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <utility>

namespace oxel::tools {

namespace {

constexpr std::size_t large_area = 256;
constexpr int smoothing = 3; // pixels that smoothing spreads to, and half a thin stroke
constexpr int border = 4;    // pixels beside ink that its error would reach
constexpr int around = 2;    // pixels about one of a stroke that tell how strong it is

/// A step to the right, down, or aslant.
struct Step {
    int x;
    int y;
};
constexpr Step all_steps[] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};

/// How a colour lies to the line from one to another.
struct Mixture {
    int share;         // of the other one, in 256ths
    std::int64_t miss; // square of the distance from the line
};

/// `Number` holds the squares of what channels differ by, and 256 times that.
template <class Number, class Channel>
Mixture mix(const Channel *colour, const Channel *from, const Channel *to) {
    Number along = 0;
    Number length = 0;
    for (std::size_t c = 0; c < 3; ++c) {
        along += Number{colour[c] - from[c]} * (to[c] - from[c]);
        length += Number{to[c] - from[c]} * (to[c] - from[c]);
    }
    const Number share = length == 0 ? 0 : 256 * along / length;
    Number miss = 0;
    for (std::size_t c = 0; c < 3; ++c) {
        const Number apart = colour[c] - from[c] - share * (to[c] - from[c]) / 256;
        miss += apart * apart;
    }
    return {static_cast<int>(std::clamp(share, Number{0}, Number{256})), miss};
}

Mixture mix(const std::uint8_t *colour, const std::uint8_t *from, const std::uint8_t *to) {
    return mix<int>(colour, from, to);
}

/// Remembers what has been asked of colours, which are few in what is drawn. Answers that have the
/// same place drive each other out.
template <class Answer>
class Memory {
  public:
    Memory() : places_(std::size_t{1} << bits) {}

    /// What compute() gives, or gave. The question has at most 63 bits.
    template <class Compute>
    const Answer &ask(std::uint64_t question, Compute compute) {
        const std::uint64_t key = question << 1 | 1; // never that of an empty place
        Place &place = places_[key * 0x9E3779B97F4A7C15U >> (64 - bits)];
        if (place.key != key)
            place = {key, compute()};
        return place.answer;
    }

  private:
    static constexpr int bits = 11;
    struct Place {
        std::uint64_t key = 0;
        Answer answer{};
    };
    std::vector<Place> places_;
};

/// 24 bits.
std::uint64_t packed(const std::uint8_t *colour) {
    return static_cast<std::uint64_t>(colour[0]) << 16 | std::uint64_t{colour[1]} << 8 | colour[2];
}

/// A picture that is given in bytes or in light, of which both are asked.
class Picture {
  public:
    Picture(std::span<const std::uint8_t> bytes, ImageSize) : bytes_(bytes) {}
    Picture(std::span<const std::uint16_t> light, ImageSize size)
        : light_(light), width_(static_cast<std::size_t>(size.width)),
          converted_(static_cast<std::size_t>(size.height)) {}

    /// Bytes of a row that has not been converted must not be asked.
    const std::uint8_t *bytes(std::size_t pixel) const { return &bytes_[3 * pixel]; }

    std::array<std::uint16_t, 3> light(std::size_t pixel) const {
        if (!light_.empty())
            return {light_[3 * pixel], light_[3 * pixel + 1], light_[3 * pixel + 2]};
        const std::uint8_t *const channels = bytes(pixel);
        return {light_of_byte(channels[0]), light_of_byte(channels[1]), light_of_byte(channels[2])};
    }

    /// Converts the row, and those so many above and below it.
    void convert(int y, int reach) {
        if (light_.empty())
            return;
        if (owned_.empty())
            bytes_ = owned_ = std::vector<std::uint8_t>(light_.size());
        const int last = static_cast<int>(converted_.size()) - 1;
        for (int i = std::max(y - reach, 0); i <= std::min(y + reach, last); ++i) {
            const auto row = static_cast<std::size_t>(i);
            if (converted_[row])
                continue;
            converted_[row] = true;
            const std::size_t start = 3 * width_ * row;
            bytes_of_light(light_.subspan(start, 3 * width_),
                           std::span(owned_).subspan(start, 3 * width_));
        }
    }

  private:
    std::span<const std::uint16_t> light_;
    std::span<const std::uint8_t> bytes_;
    std::vector<std::uint8_t> owned_; // what those are, of light
    std::size_t width_ = 0;
    std::vector<bool> converted_; // rows
};

class Finder {
  public:
    Finder(Picture picture, InkRuns &&found, ImageSize size, const InkColours &colours)
        : picture_(std::move(picture)), exact_(std::move(found.exact)),
          runs_(std::move(found.runs)), sizes_(std::move(found.sizes)), size_(size),
          width_(static_cast<std::size_t>(size.width)), colours_(colours), marks_(size) {}

    InkPlane find() {
        if (!find_areas())
            return {};
        PixelMarks near = marks_.spread(smoothing);
        // Where strokes meet, pixels lie between those that are settled first.
        for (int passes = 3; passes > 0; --passes) {
            const std::optional<PixelMarks> settled = settle_edges(near);
            if (!settled)
                break;
            near = settled->spread(smoothing); // elsewhere nothing becomes ink that did not before
        }
        PixelMarks beside = marks_.spread(border);
        beside.remove(marks_);
        beside.for_each([&](int y, int x) { areas_[at(x, y)] = beside_ink; });
        return std::move(areas_);
    }

  private:
    using Place = std::optional<std::size_t>;

    /// Which rows' bytes are asked about a pixel of ink.
    static constexpr int asked = smoothing + around;

    std::size_t at(int x, int y) const { return std::size_t(y) * width_ + std::size_t(x); }
    int y_of(std::size_t pixel) const { return int(pixel / width_); }
    bool holds(int x, int y) const {
        return x >= 0 && y >= 0 && x < size_.width && y < size_.height;
    }

    std::ptrdiff_t offset(Step step) const {
        return step.y * static_cast<std::ptrdiff_t>(width_) + step.x;
    }
    static std::size_t moved(std::size_t pixel, std::ptrdiff_t by) {
        return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(pixel) + by);
    }

    const std::uint8_t *colour(std::size_t pixel) const { return picture_.bytes(pixel); }

    /// The largest difference of a channel.
    int apart(std::size_t one, std::size_t other) const {
        int most = 0;
        for (std::size_t c = 0; c < 3; ++c)
            most = std::max(most, std::abs(colour(one)[c] - colour(other)[c]));
        return most;
    }

    /// Finds the areas, and the spots beside them. Returns whether there are any.
    bool find_areas() {
        std::vector<std::int64_t> even(runs_.size()); // slopes less edges of each area's border
        for (const InkRun &run : runs_)
            if (sizes_[run.area] >= least_ink_area)
                even[run.area] += evenness(run);
        const auto is_drawn = [&](std::uint32_t area) {
            return sizes_[area] >= least_ink_area && even[area] <= 0;
        };
        bool any = false;
        for (const InkRun &run : runs_)
            if (is_drawn(run.area)) {
                if (!any)
                    areas_.assign(exact_.size(), diffused);
                any = true;
                take(run);
            }
        if (any) {
            find_grounds(is_drawn);
            add_spots();
        }
        return any;
    }

    void take(const InkRun &run) {
        std::fill(&areas_[run.begin], areas_.data() + run.end, exact_[run.begin]);
        const int y = y_of(run.begin);
        const auto start = static_cast<std::uint32_t>(at(0, y));
        marks_.mark(y, int(run.begin - start), int(run.end - start));
        picture_.convert(y, asked);
    }

    /// Text stands on what lies to its left, as far as that is large.
    template <class IsDrawn>
    void find_grounds(IsDrawn is_drawn) {
        for (const InkRun &run : runs_)
            if (sizes_[run.area] >= large_area && is_drawn(run.area))
                grounds_.push_back(run);
    }

    /// A pixel of the large area that this one lies on, or that is next to its left.
    Place ground_of(std::size_t pixel) const {
        const auto next = std::upper_bound(
            grounds_.begin(), grounds_.end(), pixel,
            [](std::size_t place, const InkRun &run) { return place < run.begin; });
        if (next == grounds_.begin() || (next - 1)->begin < pixel / width_ * width_)
            return std::nullopt;
        return std::min<std::size_t>(pixel, (next - 1)->end - 1);
    }

    /// By how many pixels more a run's border goes on evenly than it ends at edges, for which its
    /// area is one that is drawn. In a photograph what is as light or as dark as can be begins
    /// where a slope ends.
    std::int64_t evenness(const InkRun &run) {
        std::int64_t slopes = 0;
        const int y = y_of(run.begin);
        picture_.convert(y, 2);
        const auto visit = [&](std::size_t pixel, std::ptrdiff_t way, bool behind) {
            const std::size_t next = moved(pixel, way);
            slopes += is_slope(pixel, next, behind ? Place(moved(next, way)) : Place()) ? 1 : -1;
        };
        const std::size_t start = at(0, y);
        const std::size_t end = start + width_;
        if (run.begin > start)
            visit(run.begin, -1, run.begin > start + 1);
        if (run.end < end)
            visit(run.end - 1, 1, run.end + 1 < end);
        const auto down = static_cast<std::ptrdiff_t>(width_);
        const auto visit_row = [&](std::ptrdiff_t way, bool behind) {
            const std::int16_t ink = exact_[run.begin];
            for (std::size_t pixel = run.begin; pixel < run.end; ++pixel)
                if (exact_[moved(pixel, way)] != ink)
                    visit(pixel, way, behind);
        };
        if (y > 0)
            visit_row(-down, y > 1);
        if (y + 1 < size_.height)
            visit_row(down, y + 2 < size_.height);
        return slopes;
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
    void add_spots() {
        const PixelMarks near = marks_.spread(smoothing);
        std::vector<bool> beside(runs_.size()); // of each spot
        const auto is_spot = [&](const InkRun &run) { return sizes_[run.area] < least_ink_area; };
        for (const InkRun &run : runs_)
            if (is_spot(run) && !beside[run.area]) {
                const int y = y_of(run.begin);
                const int x = int(run.begin - at(0, y));
                beside[run.area] = near.any(y, x, x + int(run.size()));
            }
        for (const InkRun &run : runs_)
            if (is_spot(run) && beside[run.area])
                take(run);
    }

    /// Settles pixels between inks, of those within `near`. Returns which, if there were any.
    std::optional<PixelMarks> settle_edges(const PixelMarks &near) {
        std::vector<std::pair<std::size_t, std::int16_t>> settled;
        PixelMarks marks(size_);
        marks_.between(smoothing, near).for_each([&](int y, int x) {
            if (const std::int16_t ink = edge(x, y); ink >= 0) {
                settled.emplace_back(at(x, y), ink);
                marks.mark(y, x);
            }
        });
        if (settled.empty())
            return std::nullopt;
        for (const auto &[pixel, ink] : settled)
            areas_[pixel] = ink;
        marks_.add(marks);
        return marks;
    }

    /// How far the first pixel of ink is that way, at most `smoothing`; or 0.
    int distance(int x, int y, Step step) const {
        std::size_t place = at(x, y);
        for (int i = 1; i <= smoothing && holds(x + i * step.x, y + i * step.y); ++i) {
            place = moved(place, offset(step));
            if (areas_[place] >= 0)
                return i;
        }
        return 0;
    }

    /// What a pixel becomes that may lie between pixels of ink.
    std::int16_t edge(int x, int y) {
        const std::size_t pixel = at(x, y);
        const Place own = ground_of(pixel);
        Place ground;
        std::int16_t nearer = diffused;
        for (const Step step : all_steps) {
            const int before = distance(x, y, {-step.x, -step.y});
            const int after = before > 0 ? distance(x, y, step) : 0;
            if (after == 0)
                continue;
            const std::size_t first = moved(pixel, -before * offset(step));
            const std::size_t last = moved(pixel, after * offset(step));
            const auto flat = [&] { return longest_flat(first, offset(step), before + after); };
            if (areas_[first] == areas_[last]) {
                // Aslant, that would be the corner of a photograph too.
                if ((step.x == 0 || step.y == 0) && flat() < 3)
                    ground = own && is_mixed(pixel, *own, first) ? *own : first;
            } else if (flat() < 2 && is_mixed(pixel, first, last)) {
                const bool on_own =
                    own && (areas_[first] == areas_[*own] || areas_[last] == areas_[*own]);
                if (on_own && (ground_of(first) != first || ground_of(last) != last))
                    ground = own;
                else
                    nearer = mix(colour(pixel), colour(first), colour(last)).share < 128
                                 ? areas_[first]
                                 : areas_[last];
            }
        }
        return ground ? stroke(x, y, *ground) : nearer;
    }

    /// The longest row of pixels of one colour that is no ink, between a place and one so many
    /// steps further.
    int longest_flat(std::size_t place, std::ptrdiff_t step, int count) const {
        int longest = 0;
        int length = 0;
        for (int i = 1; i < count; ++i) {
            const std::size_t before = place;
            place = moved(place, step);
            const bool same = length > 0 && apart(place, before) <= 2;
            length = exact_[place] >= 0 ? 0 : same ? length + 1 : 1;
            longest = std::max(longest, length);
        }
        return longest;
    }

    /// Whether a pixel is mixed of two others, in bytes as browsers do it or in light.
    bool is_mixed(std::size_t pixel, std::size_t one, std::size_t other) const {
        if (mix(colour(pixel), colour(one), colour(other)).miss <= most_miss)
            return true;
        const auto high_bytes = [&](std::size_t place) {
            const auto channels = picture_.light(place);
            return std::array<int, 3>{channels[0] >> 8, channels[1] >> 8, channels[2] >> 8};
        };
        const auto [mixed, from, to] =
            std::array{high_bytes(pixel), high_bytes(one), high_bytes(other)};
        return mix<int>(mixed.data(), from.data(), to.data()).miss <= most_miss;
    }

    /// An ink that a colour on a ground is mixed of, and how much of it.
    struct Nearest {
        const InkColours::Colour *ink;
        Mixture mixture;
    };

    Nearest nearest_ink(const std::uint8_t *own, const std::uint8_t *ground, int ground_ink) const {
        Nearest nearest{nullptr, {0, most_miss + rounding + 1}};
        for (const InkColours::Colour &other : colours_.colours())
            if (other.ink != ground_ink)
                if (const Mixture with = mix(own, ground, other.bytes.data());
                    with.miss + rounding < nearest.mixture.miss)
                    nearest = {&other, with};
        return nearest;
    }

    /// What a pixel of a thin stroke on this ground becomes.
    std::int16_t stroke(int column, int row, std::size_t ground) {
        const std::uint8_t *const own = colour(at(column, row));
        const std::uint8_t *const base = colour(ground);
        const std::uint64_t on_base = packed(base) << 24;
        const auto ground_ink = static_cast<std::uint8_t>(areas_[ground]);
        const Nearest &nearest =
            nearest_.ask(std::uint64_t{ground_ink} << 48 | on_base | packed(own),
                         [&] { return nearest_ink(own, base, areas_[ground]); });
        const InkColours::Colour *const ink = nearest.ink;
        const Mixture mixture = nearest.mixture;
        if (ink == nullptr)
            return diffused;
        const auto place = static_cast<std::uint64_t>(ink - colours_.colours().data());
        int most = mixture.share; // of the ink, beside the pixel
        int most_around = most;   // and two pixels about it
        for (int y = std::max(-around, -row); y <= std::min(around, size_.height - 1 - row); ++y)
            for (int x = std::max(-around, -column);
                 x <= std::min(around, size_.width - 1 - column); ++x) {
                const std::uint8_t *const other = colour(at(column + x, row + y));
                const std::uint64_t bits = packed(other);
                if (bits == on_base >> 24)
                    continue;
                const Mixture with = mixtures_.ask(place << 48 | on_base | bits, [&] {
                    return mix(other, base, ink->bytes.data());
                });
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
                               : mixture.share >= ripple && is_dot(column, row, ground, *ink);
        return taken ? static_cast<std::int16_t>(ink->ink) : areas_[ground];
    }

    /// Whether a pixel is one of as many of the ink as keep the light of a faint stroke.
    bool is_dot(int x, int y, std::size_t ground, const InkColours::Colour &ink) const {
        const auto own = picture_.light(at(x, y));
        const auto from = picture_.light(ground);
        const int share = mix<std::int64_t>(own.data(), from.data(), ink.light.data()).share;
        return 4 * share > grid_threshold(std::uint32_t(x), std::uint32_t(y));
    }

    static constexpr int most_miss = 12 * 12; // which roundings of a resize leave
    static constexpr int rounding = 12;       // of bytes: black and a grey are missed alike

    Picture picture_;
    std::vector<std::int16_t> exact_; // the ink that each pixel is exactly
    std::vector<InkRun> runs_;
    std::vector<std::uint32_t> sizes_;
    ImageSize size_;
    std::size_t width_;
    const InkColours &colours_;
    InkPlane areas_;
    PixelMarks marks_;            // what of it is ink
    std::vector<InkRun> grounds_; // of areas on which text may stand
    Memory<Nearest> nearest_;
    Memory<Mixture> mixtures_;
};

template <class Channel>
InkPlane find(std::span<const Channel> picture, ImageSize size, const InkColours &colours) {
    if (colours.colours().empty())
        return {};
    InkRuns found = find_ink_runs(picture, size, colours);
    if (std::none_of(found.sizes.begin(), found.sizes.end(),
                     [](std::uint32_t pixels) { return pixels >= least_ink_area; }))
        return {};
    return Finder(Picture(picture, size), std::move(found), size, colours).find();
}

} // namespace

InkPlane find_inks(std::span<const std::uint16_t> light, ImageSize size,
                   const InkColours &colours) {
    return find(light, size, colours);
}

InkPlane find_inks(std::span<const std::uint8_t> bytes, ImageSize size, const InkColours &colours) {
    return find(bytes, size, colours);
}

} // namespace oxel::tools
