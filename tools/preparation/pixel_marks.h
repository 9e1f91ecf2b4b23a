#ifndef OXEL_TOOLS_PIXEL_MARKS_H
#define OXEL_TOOLS_PIXEL_MARKS_H

#include "base/image_size.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace oxel::tools {

/// Marks on a picture's pixels, 64 in a word, so that most of a picture is passed over quickly.
class PixelMarks {
  public:
    explicit PixelMarks(ImageSize size);

    /// `end` is the column behind the last one.
    void mark(int y, int begin, int end);
    void mark(int y, int x) { row(y)[1 + x / 64] |= std::uint64_t{1} << (x % 64); }

    /// What is at most `reach` rows and columns away from what is marked. Less than 64.
    PixelMarks spread(int reach) const;

    /// What is not marked, and lies within `within`, but has a mark at most `reach` pixels away at
    /// either of two opposite sides, straight or aslant.
    PixelMarks between(int reach, const PixelMarks &within) const;

    /// Whether there is a mark from a column on to the one before `end`.
    bool any(int y, int begin, int end) const;

    /// Adds the marks that the other one has, or takes them away.
    void add(const PixelMarks &other);
    void remove(const PixelMarks &other);

    /// Calls visit(y, x) for each mark.
    template <class Visit>
    void for_each(Visit visit) const {
        for (int y = 0; y < size_.height; ++y)
            for (std::ptrdiff_t word = 0; word < words_; ++word)
                for (std::uint64_t left = row(y)[1 + word]; left != 0; left &= left - 1)
                    visit(y, static_cast<int>(64 * word) + std::countr_zero(left));
    }

  private:
    /// A row begins and ends with an empty word, for what lies outside.
    std::uint64_t *row(int y) { return bits_.data() + y * (words_ + 2); }
    const std::uint64_t *row(int y) const { return bits_.data() + y * (words_ + 2); }

    ImageSize size_;
    std::ptrdiff_t words_;
    std::vector<std::uint64_t> bits_;
};

} // namespace oxel::tools

#endif
