#ifndef OXEL_FORMS_WAVEFRONT_H
#define OXEL_FORMS_WAVEFRONT_H

#include "lanes.h"
#include "share_history.h"

#include <type_traits>

// Plain scan order, many rows at once. A row may follow the row above it as soon as that one has
// handed out all that its next pixel will receive: two columns behind for Floyd and Steinberg,
// three for the wide kernels. So each lane takes a row, and all lanes step to the right together,
// along a slanted front. The pixels that a block of four rows is at, two columns apart:
//
//     column    0   1   2   3   4   5   6   7   8
//     row 0     .   .   .   .   .   .   #             . done
//     row 1     .   .   .   .   #                     # this step
//     row 2     .   .   #
//     row 3     #
//
// What a row hands down moves up by one lane, to the row below, which will be at that column when
// the sum is complete. Only what leaves the last lane goes to memory, for the next block. A lane
// that has not yet reached the left edge, or has passed the right one, has no error to hand on.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

template <class Target, const DiffusionKernel &kernel>
class Wavefront {
  public:
    /// A step takes its time however few of its rows lie in the picture, which in low pictures are
    /// never all, and in narrow ones hardly ever. So it is the pixels of an average step that
    /// count.
    static bool pays_for(const PixelRows &picture) {
        const std::int64_t blocks = (std::int64_t{picture.height} + rows - 1) / rows;
        const std::int64_t steps = blocks * steps_of_block(picture.width);
        return std::int64_t{picture.width} * picture.height >= steps * Target::least_pixels_a_step;
    }

    static std::uint64_t memory(std::int32_t width) {
        return sizeof(Wavefront) + carries * carry_length(width) * sizeof(std::uint64_t) +
               rows * static_cast<std::uint64_t>(width);
    }

    /// `memory` is zeroed, and aligned to a cache line.
    OXEL_APART static void sweep(const DiffusionJob &job, void *memory) {
        Wavefront &front = *static_cast<Wavefront *>(memory);
        front.tables_.fill(job);
        auto *carry = reinterpret_cast<std::uint64_t *>(&front + 1) + margin;
        front.indices_ = reinterpret_cast<std::uint8_t *>(
            carry - margin + carries * carry_length(job.picture.width));
        for (std::int32_t row = 0; row < job.picture.height; row += rows)
            front.sweep_block(job, row, carry, carry + carry_length(job.picture.width));
    }

  private:
    static constexpr int registers = Target::wavefront_registers;
    static constexpr int rows = registers * Target::pixels; // of a block
    static constexpr int lag = kernel.reach + 1;            // columns between two rows
    static constexpr int depth = lag * (rows - 1);
    static constexpr int carries = kernel.rows - 1;
    static constexpr int run = 128; // steps between staging pixels and handing on indices
    static_assert(run % steps_kept == 0 && lag < steps_kept);

    // What a block's last row hands to the next block's rows, one lane a column, lies in `carry`
    // for the first of them and in `second_carry` for the second. A block reads at its first row's
    // column, up to depth + reach beyond the right edge, with the lanes to the left that
    // last_lane_from() takes along; and it writes depth + reach columns further left, first that
    // far beyond the left edge. So each column is read before the same block puts there what the
    // next one will read. Behind the right edge nothing is written and all stays 0.
    static constexpr int margin = depth + kernel.reach + Target::pixels; // columns at each side

    static std::uint64_t carry_length(std::int32_t width) {
        return static_cast<std::uint64_t>(width) + 2 * margin;
    }

    static std::int64_t steps_of_block(std::int32_t width) {
        return std::int64_t{width} + depth + kernel.reach;
    }

    /// What the rows of one register have in hand.
    struct Rows {
        Words<Target> ahead;           // for the next pixel of each row
        Words<Target> complete;        // sums for the row below
        Below<Target, kernel, 1> next; // unless the kernel is wide
    };

    static constexpr bool wide = kernel.rows > 2;
    struct Histories {
        ShareHistory<Target, kernel, registers> shares;
        WaitingSums<Target, registers> waiting; // for the row after the next
    };
    struct NoHistories {};

    /// The part of a block's run in one row.
    struct Piece {
        std::int32_t column;
        std::int32_t count;
        std::int32_t step; // its first one in the run
    };
    static Piece piece_of(std::int32_t start, int steps, int row, std::int32_t width) {
        const std::int32_t first = start - lag * row;
        const std::int32_t column = first < 0 ? 0 : first;
        const std::int32_t end = first + steps < width ? first + steps : width;
        return {column, end - column, column - first};
    }

    void sweep_block(const DiffusionJob &job, std::int32_t first_row, std::uint64_t *carry,
                     std::uint64_t *second_carry) {
        const PixelRows &picture = job.picture;
        const std::int32_t rows_left = picture.height - first_row;
        const int block_rows = rows_left < rows ? rows_left : rows;
        const auto end = static_cast<std::int32_t>(steps_of_block(picture.width));
        Rows state[registers] = {};
        histories_ = {};
        for (std::int32_t start = 0; start < end; start += run) {
            const int steps = end - start < run ? end - start : run;
            for (int row = 0; row < block_rows; ++row) {
                const Piece piece = piece_of(start, steps, row, picture.width);
                if (piece.count > 0) {
                    stage<Target>(picture, first_row + row, piece.column, piece.count,
                                  &staged_[piece.step][row], rows);
                    fetch_next(picture, first_row + row, piece.column + piece.count);
                }
            }
            for (int i = 0; i < steps; ++i)
                step(state, i, start + i, picture.width, carry, second_carry);
            for (int row = 0; row < block_rows; ++row) {
                const Piece piece = piece_of(start, steps, row, picture.width);
                if (piece.count > 0)
                    std::memcpy(indices_of(row, picture.width) + piece.column,
                                &run_indices_[row][piece.step],
                                static_cast<std::size_t>(piece.count));
            }
        }
        // Whole rows, as pieces of many rows in turn are more streams than processors follow.
        for (int row = 0; row < block_rows; ++row)
            deliver(*job.destination, first_row + row, 0, indices_of(row, picture.width),
                    picture.width);
    }

    /// Where the indices of a block's row stand until the block is done.
    std::uint8_t *indices_of(int row, std::int32_t width) const {
        return &indices_[std::ptrdiff_t{row} * width];
    }

    /// Asks for the bytes that the next run will read in a row from `column` on. A run takes a few
    /// cache lines of each of many rows, which is more than processors foresee. All inline: GCC
    /// takes a function that only asks for one that does nothing.
    OXEL_INLINE static void fetch_next(const PixelRows &picture, std::int32_t row,
                                       std::int32_t column) {
        constexpr std::uintptr_t bytes = 3 * run;
        const auto place = 3 * (std::ptrdiff_t{row - picture.blank_rows} * picture.width + column);
        const auto input =
            reinterpret_cast<std::uintptr_t>(picture.pixels) + static_cast<std::uintptr_t>(place);
        for (std::uintptr_t i = 0; i < bytes; i += cache_line)
            __builtin_prefetch(reinterpret_cast<const void *>(input + i));
    }

    /// Step `i` of the run, when the first row is at `column`.
    OXEL_INLINE void step(Rows (&state)[registers], int i, std::int32_t column, std::int32_t width,
                          std::uint64_t *carry, std::uint64_t *second_carry) {
        Words<Target> error[registers]; // at first the values
        OXEL_UNROLL
        for (int r = registers - 1; r >= 0; --r) {
            const Words<Target> arriving = shift_up<Target>(
                r > 0 ? state[r - 1].complete : last_lane_from(carry + column), state[r].complete);
            error[r] = widen<Target>(&staged_[i][r * Target::pixels]) + arriving + state[r].ahead;
            // The wide kernels' steps are bound by how many instructions they take, Floyd and
            // Steinberg's by how long each pixel waits for the one before.
            if constexpr (!wide)
                error[r] =
                    quantise<Target>(error[r], tables_, &run_indices_[r * Target::pixels][i], run);
            else if (r % 2 == 0)
                quantise_pair<Target>(error[r], error[r + 1], tables_,
                                      &run_indices_[r * Target::pixels][i], run);
        }
        if (column < depth || column >= width)
            clear_outside(error, column, width);
        const std::int32_t leaving = column - depth - kernel.reach; // the last row's complete pixel
        OXEL_UNROLL
        for (int r = 0; r < registers; ++r) {
            const Shares<Target, kernel> shares(error[r]);
            if constexpr (wide) {
                const std::uint64_t *arriving = second_carry + column - kernel.reach;
                const auto &history = histories_.shares;
                state[r].ahead = history.ahead(shares, i, r);
                state[r].complete =
                    history.template complete<1>(shares, i, r) +
                    histories_.waiting.moved_up(i, r, lag, last_lane_from(arriving));
                const Words<Target> second = history.template complete<2>(shares, i, r);
                histories_.waiting.keep(second, i, r);
                histories_.shares.keep(shares, i, r);
                if (r == registers - 1)
                    second_carry[leaving] = last_lane<Target>(second);
            } else {
                state[r].ahead = shares.template at<0, 1>();
                state[r].complete = state[r].next.add(shares);
            }
        }
        carry[leaving] = last_lane<Target>(state[registers - 1].complete);
    }

    /// A register whose last lane is the one at `lane`. The others come along, as a whole register
    /// is what loads fastest; shift_up() drops them.
    OXEL_INLINE static Words<Target> last_lane_from(const std::uint64_t *lane) {
        Words<Target> words;
        std::memcpy(&words, lane - (Target::pixels - 1), sizeof words);
        return words;
    }

    /// Makes the errors of rows that are not inside the picture 0. Inlined, it would take registers
    /// from the steps between the edges: the wide kernels took 1.15 times as long.
    [[gnu::noinline]] static void clear_outside(Words<Target> (&error)[registers],
                                                std::int32_t column, std::int32_t width) {
        const Words<Target> entered = splat<Target>(column < depth ? column : depth);
        const Words<Target> left = splat<Target>(column < width ? -1 : column - width);
        OXEL_UNROLL
        for (int r = 0; r < registers; ++r) {
            const Words<Target> behind =
                columns_behind(EachSlot<Target>()) + splat<Target>(lag * r * Target::pixels);
            error[r] &= (Words<Target>)(behind <= entered) & (Words<Target>)(behind > left);
        }
    }

    /// How many columns each row of the first register is behind the first one.
    template <int... slot>
    OXEL_INLINE static Words<Target> columns_behind(std::integer_sequence<int, slot...>) {
        return Words<Target>{static_cast<std::int16_t>(lag * (slot / 4))...};
    }

    alignas(64) std::uint32_t staged_[run][rows];
    std::uint8_t run_indices_[rows][run];
    std::uint8_t *indices_;
    [[no_unique_address]] std::conditional_t<wide, Histories, NoHistories> histories_;
    LaneTables tables_;
};

} // namespace

} // namespace oxel

#endif
