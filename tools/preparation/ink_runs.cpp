#include "preparation/ink_runs.h"

#include <algorithm>
#include <cstring>

namespace oxel::tools {

namespace {

/// How many pixels from this one on are the same as it, up to the row's end.
template <class Channel>
std::size_t same_pixels(const Channel *pixel, std::size_t left) {
    const std::size_t channels = 3 * left;
    constexpr std::size_t step = 8 / sizeof(Channel);
    std::size_t i = 3;
    for (; i + step <= channels; i += step) {
        std::uint64_t here = 0;
        std::uint64_t before = 0;
        std::memcpy(&here, pixel + i, sizeof here);
        std::memcpy(&before, pixel + i - 3, sizeof before);
        if (here != before)
            break;
    }
    while (i < channels && pixel[i] == pixel[i - 3])
        ++i;
    return i / 3;
}

/// The run that stands for the area; paths become shorter on the way.
std::uint32_t area_of(std::vector<InkRun> &runs, std::uint32_t run) {
    while (runs[run].area != run)
        run = runs[run].area = runs[runs[run].area].area;
    return run;
}

/// Connects the last row's runs, from `own` on, with those above it, from `above` on.
void connect(InkRuns &found, std::size_t above, std::size_t own, std::uint32_t width) {
    std::vector<InkRun> &runs = found.runs;
    const std::size_t end = own;
    while (above < end && own < runs.size()) {
        const InkRun &upper = runs[above];
        const InkRun &lower = runs[own];
        if (upper.begin + width < lower.end && lower.begin < upper.end + width &&
            found.exact[upper.begin] == found.exact[lower.begin]) {
            const std::uint32_t one = area_of(runs, static_cast<std::uint32_t>(above));
            const std::uint32_t other = area_of(runs, static_cast<std::uint32_t>(own));
            runs[std::max(one, other)].area = std::min(one, other);
        }
        ++(upper.end + width < lower.end ? above : own);
    }
}

template <class Channel>
InkRuns find_runs(std::span<const Channel> picture, ImageSize size, const InkColours &colours) {
    const auto width = static_cast<std::size_t>(size.width);
    InkRuns found;
    found.exact.assign(size.pixels(), -1);
    std::size_t above = 0; // the first run of the row above
    for (std::size_t start = 0; start < size.pixels(); start += width) {
        const std::size_t own = found.runs.size();
        const Channel *const row = &picture[3 * start];
        for (std::size_t x = 0; x < width;) {
            const int ink = colours.ink_of(row + 3 * x);
            if (ink < 0) {
                ++x;
                continue;
            }
            const std::size_t begin = x;
            do
                x += same_pixels(row + 3 * x, width - x);
            while (x < width && colours.ink_of(row + 3 * x) == ink);
            std::fill(&found.exact[start + begin], &found.exact[start] + x,
                      static_cast<std::int16_t>(ink));
            found.runs.push_back({static_cast<std::uint32_t>(start + begin),
                                  static_cast<std::uint32_t>(start + x),
                                  static_cast<std::uint32_t>(found.runs.size())});
        }
        connect(found, above, own, static_cast<std::uint32_t>(width));
        above = own;
    }
    found.sizes.resize(found.runs.size());
    for (std::uint32_t run = 0; run < found.runs.size(); ++run) {
        found.runs[run].area = area_of(found.runs, run);
        found.sizes[found.runs[run].area] += found.runs[run].size();
    }
    return found;
}

} // namespace

InkRuns find_ink_runs(std::span<const std::uint16_t> light, ImageSize size,
                      const InkColours &colours) {
    return find_runs(light, size, colours);
}

InkRuns find_ink_runs(std::span<const std::uint8_t> bytes, ImageSize size,
                      const InkColours &colours) {
    return find_runs(bytes, size, colours);
}

} // namespace oxel::tools
