#ifndef OXEL_FORMS_SEGMENTS_H
#define OXEL_FORMS_SEGMENTS_H

#include "lanes.h"

#include <type_traits>

// Serpentine scan order: a row cannot begin before the one above it has ended, and within a row
// every pixel waits for the one before. But what it waits for is short-lived: after some pixels
// the error that is handed ahead no longer depends, as a rule, on where the scan began. So each
// lane takes a segment of the row, all of one length, and begins a few pixels early, in the
// segment before its own, as if there were no error from further back. Then the errors with which
// it came to its segment are compared with those with which the segment before really ended. If
// they differ, the segment is done again from its start, pixel by pixel, until its errors are those
// of the first run. So the result is exact whatever the picture; only the time depends on it.
//
// Rows are laid out in steps: step s holds pixel s of every segment. With four lanes:
//
//               step 0   1   2   3
//     lane 0         0   1   2   3          A scan to the right takes the steps from left to
//     lane 1         4   5   6   7          right, and lane 1 begins early at pixels 2 and 3.
//     lane 2         8   9  10  11          A scan to the left takes them from right to left,
//     lane 3        12  13  14   .          and lane 1 begins early at pixels 9 and 8.
//
// All that a scan has in hand at a pixel are its last `reach` errors: they alone determine what
// goes ahead. Two scans that agree in those, and have the same pixels before them, agree from there
// on.
//
// Error for the rows below is handed out when a row is done, by columns from left to right.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

template <class Target, const DiffusionKernel &kernel>
class Segments {
  public:
    /// Whether rows are wide enough to be cut up, and not too wide to count the pixels of a
    /// segment in a slot.
    static bool pays_for(const PixelRows &picture) {
        return picture.width >= 2 * lead * lanes && length_of(picture.width) <= INT16_MAX;
    }

    static std::uint64_t memory(std::int32_t width) {
        const auto length = static_cast<std::uint64_t>(length_of(width));
        return sizeof(Segments) + length * (lanes * (sizeof(std::uint32_t) + 1)) +
               (3 * length + 2 * reach) * sizeof(Step);
    }

    /// `memory` is zeroed, and aligned to a cache line.
    OXEL_APART static void scan_rows(const DiffusionJob &job, void *memory) {
        Segments &segments = *static_cast<Segments *>(memory);
        segments.lay_out(job);
        for (std::int32_t row = 0; row < job.picture.height; ++row) {
            segments.take_in(job.picture, row);
            if constexpr (shares_code)
                segments.do_row(*job.destination, row, row % 2 == 0 ? 1 : -1);
            else if (row % 2 == 0)
                segments.do_row(*job.destination, row, ToTheRight());
            else
                segments.do_row(*job.destination, row, ToTheLeft());
        }
    }

  private:
    static constexpr int registers = Target::segment_registers;
    static constexpr int lanes = registers * Target::pixels;
    static constexpr int lead = 16; // pixels that a lane begins early
    static constexpr int reach = kernel.reach;

    // A `direction` is one of these, for code of its own, or as a number, where code should be
    // short.
    using ToTheRight = std::integral_constant<int, 1>;
    using ToTheLeft = std::integral_constant<int, -1>;
    static constexpr bool shares_code = requires { Target::code_is_loaded; };

    using Vector = Words<Target>;
    struct Step {
        Vector words[registers];
    };

    static std::int32_t length_of(std::int32_t width) { return (width + lanes - 1) / lanes; }

    // The memory behind this object, with the number of entries:
    //
    //     reach | errors_: length_ | reach | values_: length_ | later_: length_     of type Step
    //     staged_: length_ * lanes     pixels of 4 bytes, by steps
    //     indices_: length_ * lanes    bytes, by segments: the row's pixels in their order
    //
    // What stands on either side of errors_ are the pixels beyond the ends of each segment.
    void lay_out(const DiffusionJob &job) {
        tables_.fill(job);
        width_ = job.picture.width;
        length_ = length_of(width_);
        errors_ = reinterpret_cast<Step *>(this + 1) + reach;
        values_ = errors_ + length_ + reach;
        later_ = values_ + length_;
        staged_ = reinterpret_cast<std::uint32_t *>(later_ + length_);
        indices_ = reinterpret_cast<std::uint8_t *>(staged_ + length_ * lanes);
        for (int lane = 0; lane < lanes; ++lane)
            for (int slot = 0; slot < 4; ++slot)
                pixels_in_.words[lane / Target::pixels][lane % Target::pixels * 4 + slot] =
                    static_cast<std::int16_t>(pixels_of(lane));
    }

    /// How many pixels of the row lie in a lane's segment: fewer in the last ones.
    std::int32_t pixels_of(int lane) const {
        const std::int32_t pixels = width_ - lane * length_;
        return pixels < 0 ? 0 : pixels < length_ ? pixels : length_;
    }

    /// Adds the pixels of a row to the error that its rows above have left in `values_`.
    void take_in(const PixelRows &picture, std::int32_t row) {
        for (int lane = 0; lane < lanes; ++lane)
            stage<Target>(picture, row, lane * length_, pixels_of(lane), staged_ + lane, lanes);
        for (std::int32_t s = 0; s < length_; ++s)
            for (int r = 0; r < registers; ++r)
                values_[s].words[r] += widen<Target>(staged_ + s * lanes + r * Target::pixels);
    }

    template <class Direction>
    void do_row(const Destination &destination, std::int32_t row, Direction direction) {
        Step entered[reach] = {};
        scan(direction, entered);
        for (int i = 1; i < lanes; ++i)
            mend(direction, direction > 0 ? i : lanes - 1 - i, entered);
        deliver(destination, row, 0, indices_, width_);
        if (direction > 0 || (shares_code && hands_down_evenly))
            hand_down<1>();
        else
            hand_down<-1>();
    }

    /// Whether the rows below receive as much on the one side as on the other.
    static constexpr bool hands_down_evenly = [] {
        for (int row = 1; row < kernel.rows; ++row)
            for (int column = 0; column < kernel.columns; ++column)
                if (kernel.weights[row][column] != kernel.weights[row][kernel.columns - 1 - column])
                    return false;
        return true;
    }();

    /// Step number `i` of a scan.
    template <class Direction>
    std::int32_t step_at(Direction direction, std::int32_t i) const {
        return direction > 0 ? i : length_ - 1 - i;
    }

    /// Scans all segments side by side, each from `lead` pixels before its start. `entered`
    /// receives the last errors before the start, the latest one last.
    template <class Direction>
    void scan(Direction direction, Step (&entered)[reach]) {
        Ahead<Target, kernel> ahead[registers];
        for (std::int32_t i = length_ - lead; i < length_; ++i) {
            const std::int32_t s = step_at(direction, i);
            const Step value = next_lanes(direction, values_[s]);
            const Step inside = next_lanes(direction, inside_mask(s));
            std::uint8_t unused[lanes];
            for (int r = 0; r < registers; ++r) {
                const Vector error = quantise<Target>(value.words[r] + ahead[r].next(), tables_,
                                                      unused + r * Target::pixels, 1) &
                                     inside.words[r];
                ahead[r].add(Shares<Target, kernel>(error));
                for (int k = 0; k + 1 < reach; ++k)
                    entered[k].words[r] = entered[k + 1].words[r];
                entered[reach - 1].words[r] = error;
            }
        }
        const std::int32_t shortest = pixels_of(lanes - 1);
        for (std::int32_t i = 0; i < length_; ++i) {
            const std::int32_t s = step_at(direction, i);
            Step error;
            for (int r = 0; r < registers; ++r)
                error.words[r] =
                    quantise<Target>(values_[s].words[r] + ahead[r].next(), tables_,
                                     indices_ + r * Target::pixels * length_ + s, length_);
            if (s >= shortest) {
                const Step inside = inside_mask(s);
                for (int r = 0; r < registers; ++r)
                    error.words[r] &= inside.words[r];
            }
            for (int r = 0; r < registers; ++r)
                ahead[r].add(Shares<Target, kernel>(error.words[r]));
            errors_[s] = error;
        }
    }

    /// All bits of the lanes whose pixel at step `s` lies in the row.
    Step inside_mask(std::int32_t s) const {
        Step mask;
        for (int r = 0; r < registers; ++r)
            mask.words[r] = (Vector)(splat<Target>(s) < pixels_in_.words[r]);
        return mask;
    }

    /// Each lane gets what the segment before its own, in the order of the scan, has; the first
    /// one gets 0.
    template <class Direction>
    static Step next_lanes(Direction direction, const Step &step) {
        Step next;
        for (int r = 0; r < registers; ++r)
            if (direction > 0)
                next.words[r] =
                    shift_up<Target>(r > 0 ? step.words[r - 1] : Vector{}, step.words[r]);
            else
                next.words[r] = shift_down<Target>(
                    step.words[r], r + 1 < registers ? step.words[r + 1] : Vector{});
        return next;
    }

    /// One pixel, a lane of a Step. A vector's slots may be read and written as if they were these,
    /// as that is what may_alias says.
    struct [[gnu::may_alias]] Slots {
        std::int16_t slot[4];
        bool operator==(const Slots &) const = default;
    };
    static Slots &lane_of(Step &step, int lane) { return reinterpret_cast<Slots *>(&step)[lane]; }

    /// Does a lane's segment again, and if need be the ones after it, as long as the errors differ
    /// from those that the scan has found.
    template <class Direction>
    void mend(Direction direction, int lane, Step (&entered)[reach]) {
        Slots before[reach]; // the last errors, the latest one last
        bool same = true;
        for (int k = 0; k < reach; ++k) {
            before[k] = lane_of(errors_[step_at(direction, length_ - reach + k)], lane - direction);
            same = same && before[k] == lane_of(entered[k], lane);
        }
        int agreeing = same ? reach : 0;
        for (; lane >= 0 && lane < lanes; lane += direction)
            for (std::int32_t i = 0; i < length_; ++i) {
                if (agreeing == reach)
                    return;
                const std::int32_t s = step_at(direction, i);
                if (s >= pixels_of(lane))
                    continue;
                const Slots error = quantise_again(lane, s, before);
                Slots &found = lane_of(errors_[s], lane);
                agreeing = error == found ? agreeing + 1 : 0;
                found = error;
                for (int k = 0; k + 1 < reach; ++k)
                    before[k] = before[k + 1];
                before[reach - 1] = error;
            }
    }

    Slots quantise_again(int lane, std::int32_t s, const Slots (&before)[reach]) {
        Slots value = lane_of(values_[s], lane);
        for (int slot = 0; slot < 3; ++slot) {
            int sum = value.slot[slot];
            for (int k = 0; k < reach; ++k)
                sum += kernel.share(0, kernel.centre + reach - k, before[k].slot[slot]);
            value.slot[slot] = static_cast<std::int16_t>(sum < 0 ? 0 : sum > 255 ? 255 : sum);
        }
        const auto channel = [&](int slot) { return static_cast<std::uint32_t>(value.slot[slot]); };
        const std::uint8_t index = tables_.cells[colour_cell(channel(0), channel(1), channel(2))];
        indices_[lane * length_ + s] = index;
        Slots colour;
        std::memcpy(&colour, &tables_.palette[index], sizeof colour);
        for (int slot = 0; slot < 3; ++slot)
            value.slot[slot] = static_cast<std::int16_t>(value.slot[slot] - colour.slot[slot]);
        value.slot[3] = 0;
        return value;
    }

    /// Hands the errors of the whole row to the rows below, as `values_` and `later_`.
    template <int direction>
    void hand_down() {
        for (int k = 1; k <= reach; ++k) { // the pixels beyond either end of each segment
            errors_[-k] = next_lanes(ToTheRight(), errors_[length_ - k]);
            errors_[length_ - 1 + k] = next_lanes(ToTheLeft(), errors_[k - 1]);
        }
        for (int r = 0; r < registers; ++r) {
            Below<Target, kernel, 1, direction> next;
            Below<Target, kernel, 2, direction> after_next;
            for (std::int32_t s = -reach; s < length_ + reach; ++s) {
                const Shares<Target, kernel> shares(errors_[s].words[r]);
                const Vector to_next = next.add(shares);
                const Vector to_after_next = after_next.add(shares);
                if (s < reach)
                    continue;
                if constexpr (kernel.rows > 2) {
                    values_[s - reach].words[r] = to_next + later_[s - reach].words[r];
                    later_[s - reach].words[r] = to_after_next;
                } else {
                    values_[s - reach].words[r] = to_next;
                }
            }
        }
    }

    Step pixels_in_; // of each lane's segment, in every slot
    LaneTables tables_;
    std::int32_t width_;
    std::int32_t length_; // of a segment
    Step *errors_;        // of the row being scanned
    Step *values_;        // what its pixels have received, later the row below's
    Step *later_;         // what the row after the next has received
    std::uint32_t *staged_;
    std::uint8_t *indices_;
};

} // namespace

} // namespace oxel

#endif
