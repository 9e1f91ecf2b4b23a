#ifndef OXEL_FORMS_SHARE_HISTORY_H
#define OXEL_FORMS_SHARE_HISTORY_H

#include "lanes.h"

// What the wide kernels hand down, step by step, in memory. Sums on their way to three rows would
// take 11 registers for each one of errors, more than there are, and each of them would be stored
// anew at every step. So it is shares that are kept: they are stored once, and added up when a sum
// is wanted.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// Steps that a history reaches back, the present one among them: a power of two.
inline constexpr int steps_kept = 8;
OXEL_INLINE unsigned kept_at(int step) {
    return static_cast<unsigned>(step) % steps_kept;
}

template <class Target, const DiffusionKernel &kernel, int registers>
class ShareHistory {
  public:
    using Given = Shares<Target, kernel>;

    /// Keeps the shares of register `r` at `step`.
    OXEL_INLINE void keep(const Given &shares, int step, int r) {
        keep_each(shares, step, r, std::make_integer_sequence<int, kernel.heaviest>());
    }

    /// What goes ahead to the pixel after that of the shares.
    OXEL_INLINE Words<Target> ahead(const Given &shares, int step, int r) const {
        return shares.template at<0, 1>() + past<0, 2>(step, r, 1);
    }

    /// What the row that is `row` rows below has received in all at the pixel that is `reach`
    /// before that of the shares. The latest share comes last, as the others are there before it.
    template <int row>
    OXEL_INLINE Words<Target> complete(const Given &shares, int step, int r) const {
        return past<row, 2>(step, r, 4) + past<row, 1>(step, r, 3) +
               (past<row, 0>(step, r, 2) + past<row, -1>(step, r, 1)) +
               shares.template at<row, -2>();
    }

  private:
    static_assert(kernel.reach == 2 && 2 * kernel.reach < steps_kept);

    /// How many weights of the kernel are below `weight`.
    static constexpr int place_of(int weight) {
        int place = 0;
        for (int lighter = 1; lighter < weight; ++lighter)
            place += kernel.has_weight(lighter);
        return place;
    }

    template <int... i>
    OXEL_INLINE void keep_each(const Given &shares, int step, int r,
                               std::integer_sequence<int, i...>) {
        (keep_one<i + 1>(shares, step, r), ...);
    }
    template <int weight>
    OXEL_INLINE void keep_one(const Given &shares, int step, int r) {
        if constexpr (kernel.has_weight(weight))
            shares_[kept_at(step)][place_of(weight)][r] = shares.template of<weight>();
    }

    /// The share for a place of the kernel's weights that was kept some steps `ago`.
    template <int row, int column>
    OXEL_INLINE Words<Target> past(int step, int r, int ago) const {
        constexpr int weight = kernel.weights[row][kernel.centre + column];
        if constexpr (weight == 0)
            return Words<Target>{};
        else
            return shares_[kept_at(step - ago)][place_of(weight)][r];
    }

    Words<Target> shares_[steps_kept][place_of(kernel.heaviest + 1)][registers];
};

/// Sums on their way to the row after the next: they wait some steps, then go on by way of the next
/// row, which has come to the same column.
template <class Target, int registers>
class WaitingSums {
  public:
    OXEL_INLINE void keep(Words<Target> sums, int step, int r) {
        std::memcpy(lane(step, r), &sums, sizeof sums);
    }

    /// The sums of register `r`, kept some steps `ago`, moved up by one lane; that of `before`, its
    /// last, comes into the first register.
    OXEL_INLINE Words<Target> moved_up(int step, int r, int ago, Words<Target> before) const {
        Words<Target> sums;
        const std::uint64_t *lanes = lane(step - ago, r);
        std::memcpy(&sums, r > 0 ? lanes - 1 : lanes, sizeof sums);
        return r > 0 ? sums : shift_up<Target>(before, sums);
    }

  private:
    OXEL_INLINE std::uint64_t *lane(int step, int r) {
        return &lanes_[kept_at(step)][r * Target::pixels];
    }
    OXEL_INLINE const std::uint64_t *lane(int step, int r) const {
        return &lanes_[kept_at(step)][r * Target::pixels];
    }

    alignas(64) std::uint64_t lanes_[steps_kept][registers * Target::pixels];
};

} // namespace

} // namespace oxel

#endif
