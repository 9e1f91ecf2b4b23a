#include "preparation/pixel_marks.h"

#include <algorithm>

namespace oxel::tools {

namespace {

using Word = std::uint64_t;

/// The marks `by` columns to the right of those in this word, at their places.
Word beside(const Word *word, int by) {
    const auto shift = static_cast<unsigned>(by < 0 ? -by : by) % 64;
    return by < 0 ? word[0] << shift | word[-1] >> 1 >> (63 - shift)
                  : word[0] >> shift | word[1] << 1 << (63 - shift);
}

} // namespace

PixelMarks::PixelMarks(ImageSize size)
    : size_(size), words_((size.width + 63) / 64),
      bits_(static_cast<std::size_t>(size.height * (words_ + 2))) {}

void PixelMarks::mark(int y, int begin, int end) {
    Word *const words = row(y) + 1;
    for (int x = begin; x < end;) {
        const int stop = std::min(end, (x / 64 + 1) * 64);
        words[x / 64] |= (~Word{0} >> (64 - (stop - x))) << (x % 64);
        x = stop;
    }
}

PixelMarks PixelMarks::spread(int reach) const {
    PixelMarks columns(size_);
    std::vector<bool> any(static_cast<std::size_t>(size_.height));
    for (int y = 0; y < size_.height; ++y) {
        const Word *const from = row(y) + 1;
        if (std::all_of(from, from + words_, [](Word word) { return word == 0; }))
            continue;
        any[static_cast<std::size_t>(y)] = true;
        Word *const to = columns.row(y) + 1;
        for (std::ptrdiff_t word = 0; word < words_; ++word)
            for (int by = -reach; by <= reach; ++by)
                to[word] |= beside(from + word, by);
        to[words_ - 1] &= ~Word{0} >> (64 * words_ - size_.width);
    }
    PixelMarks both(size_);
    for (int y = 0; y < size_.height; ++y)
        for (int from = std::max(y - reach, 0); from <= std::min(y + reach, size_.height - 1);
             ++from)
            if (any[static_cast<std::size_t>(from)])
                std::transform(columns.row(from), columns.row(from) + words_ + 1, both.row(y),
                               both.row(y), [](Word one, Word other) { return one | other; });
    return both;
}

PixelMarks PixelMarks::between(int reach, const PixelMarks &within) const {
    PixelMarks found(size_);
    const std::vector<Word> outside(static_cast<std::size_t>(words_ + 2));
    const auto words = [&](int y) { return y < 0 || y >= size_.height ? outside.data() : row(y); };
    for (int y = 0; y < size_.height; ++y)
        for (std::ptrdiff_t word = 1; word <= words_; ++word) {
            const Word wanted = within.row(y)[word] & ~row(y)[word];
            if (wanted == 0)
                continue;
            Word right = 0;
            Word left = 0;
            Word down = 0;
            Word up = 0;
            Word ends[4] = {}; // aslant
            for (int i = 1; i <= reach; ++i) {
                const Word *const above = words(y - i) + word;
                const Word *const below = words(y + i) + word;
                right |= beside(row(y) + word, i);
                left |= beside(row(y) + word, -i);
                up |= *above;
                down |= *below;
                ends[0] |= beside(above, -i);
                ends[1] |= beside(below, i);
                ends[2] |= beside(above, i);
                ends[3] |= beside(below, -i);
            }
            found.row(y)[word] =
                wanted & ((right & left) | (up & down) | (ends[0] & ends[1]) | (ends[2] & ends[3]));
        }
    return found;
}

bool PixelMarks::any(int y, int begin, int end) const {
    const Word *const words = row(y) + 1;
    for (int x = begin; x < end; ++x)
        if ((words[x / 64] >> (x % 64) & 1) != 0)
            return true;
    return false;
}

void PixelMarks::add(const PixelMarks &other) {
    std::transform(bits_.begin(), bits_.end(), other.bits_.begin(), bits_.begin(),
                   [](Word own, Word added) { return own | added; });
}

void PixelMarks::remove(const PixelMarks &other) {
    std::transform(bits_.begin(), bits_.end(), other.bits_.begin(), bits_.begin(),
                   [](Word own, Word taken) { return own & ~taken; });
}

} // namespace oxel::tools
