#ifndef OXEL_TOOLS_REDUCTION_H
#define OXEL_TOOLS_REDUCTION_H

#include "base/image_size.h"

#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

/// How the pixels of one side are made of more pixels, or as many: first the means of `box`
/// neighbours, then windowed sinc functions of three lobes (C. E. Duchon, Lanczos filtering in one
/// and two dimensions, 1979) where at most a factor of four is left, and two if there was a box.
struct ReducedSide {
    struct Taps {
        int first; // may lie outside: the edge's pixels go on there
        const float *weights;
    };

    /// `scale` is at most 1. The pixels' middles lie `shift` pixels before where they should.
    ReducedSide(int length, double scale, double shift = 0);

    Taps taps(int place) const;

    int from;
    int to;
    int box;
    int count; // of the taps

  private:
    double step_;
    double start_;
    std::vector<float> weights_; // of every phase
};

/// Makes a part of a smaller picture from rows of light as they come in, from top to bottom. Keeps
/// so many rows as the filter is high.
class Reduction {
  public:
    /// `left` and `top` are the part's place in the smaller picture, `size` its size; `light` gets
    /// its pixels.
    Reduction(ReducedSide across, ReducedSide down, int left, int top, ImageSize size,
              std::span<std::uint16_t> light);

    Reduction(const Reduction &) = delete;
    Reduction &operator=(const Reduction &) = delete;

    /// A row, 3 channels a pixel, of light or of sRGB.
    void add(std::span<const std::uint16_t> row);
    void add(std::span<const std::uint8_t> row);

  private:
    float *kept(int place);
    template <class Row, class Value>
    void add_values(Row row, Value value);
    void write(int place);

    ReducedSide across_;
    ReducedSide down_;
    int top_;
    ImageSize size_;
    std::span<std::uint16_t> light_;
    std::vector<ReducedSide::Taps> columns_; // of the part, from the first column that it needs
    int first_column_;
    std::size_t samples_;
    int rows_ = 0;  // that came in
    int boxed_ = 0; // rows made of them
    int written_ = 0;
    std::vector<float> sums_;
    std::vector<float> ring_;
    std::vector<float> row_;
    std::vector<const float *> taken_; // of the ring, by a row that is written
};

} // namespace oxel::tools

#endif
