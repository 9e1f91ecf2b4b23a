#ifndef OXEL_FORMS_LANES_H
#define OXEL_FORMS_LANES_H

#include "../colour_cell.h"
#include "../diffusion.h"
#include "../diffusion_kernel.h"

#include <bit>
#include <cstring>
#include <utility>

// The quantisation of several pixels at once and the shares of their errors, one pixel in each
// 64-bit lane of a vector register. A lane has four signed 16-bit slots: R, G, B, and one that
// idles at 0.
//
// The unnamed namespace gives every instruction set a copy of its own of all this, so that the
// linker cannot put the code for one in the place of another's.

// A step of the diffusion keeps its state in registers, so all that it calls must become part of
// it.
#define OXEL_INLINE [[gnu::always_inline]] inline
#define OXEL_UNROLL _Pragma("GCC unroll 8")

// What is kept out of the function that chooses it. V8 takes less trouble with one as large as all
// kernels and orders together: they took a quarter longer.
#ifdef __wasm__
#define OXEL_APART [[gnu::noinline]]
#else
#define OXEL_APART
#endif

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

static_assert(std::endian::native == std::endian::little);

/// A register of an instruction set. A `Target` tells how many pixels one holds, and how to
/// multiply: high_product(words, factor) is the upper half of the 32-bit products. What it may name
/// besides, as one instruction where GCC makes several of the general text: widen(pixels) and
/// clamp(words, most). Where it names code_is_loaded, scans of both directions share their code.
template <class Target>
struct Register {
    typedef std::int16_t Words __attribute__((vector_size(8 * Target::pixels)));
    typedef std::uint64_t Quads __attribute__((vector_size(8 * Target::pixels)));
    typedef std::uint8_t Bytes __attribute__((vector_size(4 * Target::pixels)));
};
template <class Target>
using Words = typename Register<Target>::Words;
template <class Target>
using Quads = typename Register<Target>::Quads;

template <class Target>
using EachPixel = std::make_integer_sequence<int, Target::pixels>;
template <class Target>
using EachSlot = std::make_integer_sequence<int, 4 * Target::pixels>;

template <class Target>
OXEL_INLINE Words<Target> splat(int value) {
    return Words<Target>{} + static_cast<std::int16_t>(value);
}

/// The lanes of `low` and `high` laid end to end, from lane `first` on.
template <class Target, int first, int... i>
OXEL_INLINE Words<Target> window(Words<Target> low, Words<Target> high,
                                 std::integer_sequence<int, i...>) {
    return (Words<Target>)__builtin_shufflevector((Quads<Target>)low, (Quads<Target>)high,
                                                  (first + i)...);
}

/// The pixels of `later` moved up by one lane; the last one of `earlier` comes in.
template <class Target>
OXEL_INLINE Words<Target> shift_up(Words<Target> earlier, Words<Target> later) {
    return window<Target, Target::pixels - 1>(earlier, later, EachPixel<Target>());
}

/// The pixels of `earlier` moved down by one lane; the first one of `later` comes in.
template <class Target>
OXEL_INLINE Words<Target> shift_down(Words<Target> earlier, Words<Target> later) {
    return window<Target, 1>(earlier, later, EachPixel<Target>());
}

template <class Target>
OXEL_INLINE std::uint64_t last_lane(Words<Target> words) {
    return ((Quads<Target>)words)[Target::pixels - 1];
}

/// The bytes of each pixel, of which the fourth may be any, as the slots of its lane.
template <class Target>
OXEL_INLINE Words<Target> widen(const std::uint32_t *pixels) {
    if constexpr (requires { Target::widen(pixels); }) {
        return Target::widen(pixels);
    } else {
        typename Register<Target>::Bytes bytes;
        std::memcpy(&bytes, pixels, sizeof bytes);
        return __builtin_convertvector(bytes, Words<Target>);
    }
}

/// Each slot of a colour in 0 to 255, the idle one in 0 to 0: that is where whatever a pixel's
/// fourth byte was ends.
template <class Target>
OXEL_INLINE Words<Target> clamp(Words<Target> value) {
    const auto most = (Words<Target>)(Quads<Target>{} + 0x000000FF00FF00FFU);
    if constexpr (requires { Target::clamp(value, most); }) {
        return Target::clamp(value, most);
    } else {
        constexpr Words<Target> least{};
        value = value > least ? value : least;
        return value < most ? value : most;
    }
}

// Shares.

/// What each neighbour receives of a register of errors.
template <class Target, const DiffusionKernel &kernel>
class Shares {
  public:
    OXEL_INLINE explicit Shares(Words<Target> error)
        : Shares(error, std::make_integer_sequence<int, kernel.heaviest>()) {}

    /// At a place of the kernel's weights, counted from the pixel itself.
    template <int row, int column>
    OXEL_INLINE Words<Target> at() const {
        constexpr int weight = kernel.weights[row][kernel.centre + column];
        if constexpr (weight == 0)
            return Words<Target>{};
        else
            return of<weight>();
    }

    template <int weight>
    OXEL_INLINE Words<Target> of() const {
        return of_weight_[weight - 1];
    }

  private:
    template <int... i>
    OXEL_INLINE Shares(Words<Target> error, std::integer_sequence<int, i...>)
        : of_weight_{share<i + 1>(error)...} {}

    template <int weight>
    OXEL_INLINE static Words<Target> share(Words<Target> error) {
        if constexpr (!kernel.has_weight(weight))
            return error; // any value: at() never reads it
        if constexpr (requires { Target::shifts_are_cheaper; }) {
            if constexpr (kernel.floors)
                return error * static_cast<std::int16_t>(weight) >>
                       __builtin_ctz(static_cast<unsigned>(kernel.divisor));
            else if constexpr (kernel.has_weight(2 * weight))
                return part<2>(share<2 * weight>(error), error);
            else if constexpr (has_power_of_two(kernel.divisor, weight))
                return part<kernel.divisor / weight>(error, error);
        }
        const Words<Target> product = Target::high_product(error, share_factor(kernel, weight));
        return kernel.floors ? product : product - (error >> 15);
    }

    static constexpr bool has_power_of_two(int divisor, int weight) {
        return divisor % weight == 0 &&
               std::has_single_bit(static_cast<unsigned>(divisor / weight));
    }

    /// `words`, which have the signs of the error, divided by a power of two and rounded toward
    /// zero.
    template <int divisor>
    OXEL_INLINE static Words<Target> part(Words<Target> words, Words<Target> error) {
        const Words<Target> below_zero = error >> 15;
        return (words + (below_zero & static_cast<std::int16_t>(divisor - 1))) >>
               std::countr_zero(static_cast<unsigned>(divisor));
    }

    Words<Target> of_weight_[kernel.heaviest];
};

/// The error on its way to the next pixels of the row being scanned.
template <class Target, const DiffusionKernel &kernel>
class Ahead {
  public:
    OXEL_INLINE Words<Target> next() const { return pending_[0]; }

    OXEL_INLINE void add(const Shares<Target, kernel> &shares) {
        if constexpr (kernel.reach == 2)
            pending_[0] = pending_[1] + shares.template at<0, 1>();
        pending_[kernel.reach - 1] = shares.template at<0, kernel.reach>();
    }

  private:
    Words<Target> pending_[kernel.reach] = {};
};

/// The error on its way to a row below, which passes by from left to right: while pixel x hands
/// out its shares, the pixels x - reach + 1 to x + reach still wait for others. A scan to the left
/// (`direction` -1) has the kernel mirrored.
template <class Target, const DiffusionKernel &kernel, int row, int direction = 1>
class Below {
  public:
    /// Takes the shares of pixel x; returns what pixel x - reach has received in all.
    OXEL_INLINE Words<Target> add(const Shares<Target, kernel> &shares) {
        constexpr int reach = kernel.reach;
        const Words<Target> complete = pending_[0] + shares.template at<row, -reach * direction>();
        if constexpr (reach == 1) {
            pending_[0] = pending_[1] + shares.template at<row, 0>();
        } else {
            pending_[0] = pending_[1] + shares.template at<row, -1 * direction>();
            pending_[1] = pending_[2] + shares.template at<row, 0>();
            pending_[2] = pending_[3] + shares.template at<row, direction>();
        }
        pending_[2 * reach - 1] = shares.template at<row, reach * direction>();
        return complete;
    }

  private:
    Words<Target> pending_[2 * kernel.reach] = {};
};

// Quantisation.

struct LaneTables {
    const std::uint8_t *cells;
    std::uint64_t palette[256]; // a lane an index

    void fill(const DiffusionJob &job) {
        cells = job.cells;
        for (int i = 0; i < job.colours; ++i) {
            const std::int16_t slots[4] = {job.palette[3 * i], job.palette[3 * i + 1],
                                           job.palette[3 * i + 2], 0};
            std::memcpy(&palette[i], slots, sizeof slots);
        }
    }
};

/// Stores chosen indices `stride` apart; returns their colours.
template <class Target, int... i>
OXEL_INLINE Words<Target> colours_of(const std::uint32_t *chosen, const LaneTables &tables,
                                     std::uint8_t *indices, std::ptrdiff_t stride,
                                     std::integer_sequence<int, i...>) {
    ((indices[i * stride] = static_cast<std::uint8_t>(chosen[i])), ...);
    return (Words<Target>)Quads<Target>{tables.palette[chosen[i]]...};
}

/// Chooses the palette index of each accumulated value, clamped, and stores them `stride` apart.
/// Returns the errors.
template <class Target>
OXEL_INLINE Words<Target> quantise(Words<Target> value, const LaneTables &tables,
                                   std::uint8_t *indices, std::ptrdiff_t stride) {
    value = clamp<Target>(value);
    std::uint32_t chosen[Target::pixels];
    if constexpr (requires { Target::cells_of(value); }) {
        const Quads<Target> cells = Target::cells_of(value);
        OXEL_UNROLL
        for (int i = 0; i < Target::pixels; ++i)
            chosen[i] = tables.cells[static_cast<std::uint32_t>(cells[i])];
    } else {
        // Six bits of R, G and B from bits 0, 16 and 32 on; in the cell's number from 12, 6 and 0
        // on.
        const Quads<Target> channels = (Quads<Target>)(value >> 2);
        const Quads<Target> cells = (channels << 12 | channels >> 10 | channels >> 32) & 0x3FFFF;
        OXEL_UNROLL
        for (int i = 0; i < Target::pixels; ++i)
            chosen[i] = tables.cells[cells[i]];
    }
    return value - colours_of<Target>(chosen, tables, indices, stride, EachPixel<Target>());
}

/// The same for two registers, the indices of the second one behind those of the first. Where a
/// `Target` has cells_of_pair(value, value), that takes fewer instructions, but each result comes
/// later. It returns the cells' numbers in halves of lanes: those of the first register's pixels 0
/// and 1, the second one's 0 and 1, the first one's 2 and 3, and so on.
template <class Target>
OXEL_INLINE void quantise_pair(Words<Target> &value, Words<Target> &next, const LaneTables &tables,
                               std::uint8_t *indices, std::ptrdiff_t stride) {
    std::uint8_t *next_indices = indices + Target::pixels * stride;
    if constexpr (requires { Target::cells_of_pair(value, next); }) {
        value = clamp<Target>(value);
        next = clamp<Target>(next);
        const Quads<Target> cells = Target::cells_of_pair(value, next);
        std::uint32_t chosen[2][Target::pixels];
        OXEL_UNROLL
        for (int lane = 0; lane < Target::pixels; ++lane) {
            std::uint32_t *two = &chosen[lane % 2][lane - lane % 2];
            two[0] = tables.cells[static_cast<std::uint32_t>(cells[lane])];
            two[1] = tables.cells[cells[lane] >> 32];
        }
        value -= colours_of<Target>(chosen[0], tables, indices, stride, EachPixel<Target>());
        next -= colours_of<Target>(chosen[1], tables, next_indices, stride, EachPixel<Target>());
    } else {
        next = quantise<Target>(next, tables, next_indices, stride);
        value = quantise<Target>(value, tables, indices, stride);
    }
}

// Pictures.

template <class Target, bool rgb>
void stage_mapped(const std::uint8_t *gamut, const std::uint8_t *pixels, std::int32_t count,
                  std::uint32_t *staged, std::ptrdiff_t stride) {
    const auto map = [&](std::int32_t i, std::uint32_t place) {
        // Four bytes move faster than three. Behind the table's last entry they reach into what
        // follows in the package, at least its trailer.
        std::memcpy(&staged[i * stride], gamut + place, 4);
    };
    std::int32_t i = 0;
    if constexpr (requires { Target::template gamut_places<rgb>(pixels); }) {
        using Places = decltype(Target::template gamut_places<rgb>(pixels));
        constexpr std::int32_t at_once = sizeof(Places) / sizeof(std::uint32_t);
        for (; i + at_once <= count; i += at_once) {
            const Places places =
                Target::template gamut_places<rgb>(pixels + std::ptrdiff_t{3} * i);
            std::uint32_t place[at_once];
            std::memcpy(place, &places, sizeof place);
            for (std::int32_t k = 0; k < at_once; ++k)
                map(i + k, place[k]);
        }
    }
    for (; i < count; ++i) {
        const std::uint8_t *pixel = pixels + std::ptrdiff_t{3} * i;
        map(i, 3 * colour_cell(pixel[rgb ? 0 : 2], pixel[1], pixel[rgb ? 2 : 0]));
    }
}

/// Copies `count` pixels of a row from `column` on, mapped, as R, G, B and any fourth byte, to
/// `staged` and every `stride` pixels further.
template <class Target>
void stage(const PixelRows &picture, std::int32_t row, std::int32_t column, std::int32_t count,
           std::uint32_t *staged, std::ptrdiff_t stride) {
    if (row < picture.blank_rows) {
        std::uint32_t black = 0;
        if (picture.gamut)
            std::memcpy(&black, picture.gamut, 3);
        for (std::int32_t i = 0; i < count; ++i)
            staged[i * stride] = black;
        return;
    }
    const std::uint8_t *pixel =
        picture.pixels + 3 * (std::ptrdiff_t{row - picture.blank_rows} * picture.width + column);
    const bool rgb = picture.byte_order == 0;
    if (picture.gamut) {
        const auto mapped = rgb ? stage_mapped<Target, true> : stage_mapped<Target, false>;
        return mapped(picture.gamut, pixel, count, staged, stride);
    }
    const int red = rgb ? 0 : 2;
    for (std::int32_t i = 0; i < count; ++i, pixel += 3)
        staged[i * stride] =
            static_cast<std::uint32_t>(pixel[red] | pixel[1] << 8 | pixel[2 - red] << 16);
}

} // namespace

} // namespace oxel

#endif
