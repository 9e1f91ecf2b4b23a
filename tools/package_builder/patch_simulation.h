#ifndef OXEL_TOOLS_PATCH_SIMULATION_H
#define OXEL_TOOLS_PATCH_SIMULATION_H

#include "package_builder/characterisation.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

Vector3 mean(std::span<const Vector3> vectors);

/// The threshold, from 0 to 1, that a pixel is dithered onto the grid with: a channel takes the
/// upper cell if it lies further than that above the lower one. Interleaved gradient noise
/// (Jimenez, "Next generation post processing in Call of Duty: Advanced Warfare", 2014).
double grid_threshold(std::size_t x, std::size_t y);

/// The bytes that a diffusion is given for a flat colour. A picture that is dithered onto the grid
/// of the gamut table before it is rendered asks for up to four neighbouring cells in turn.
class DitheredBytes {
  public:
    DitheredBytes(const RgbBytes &flat) { corners_.fill(flat); } // NOLINT: as good as bytes

    /// Channels that need not be whole: bytes four apart, as cells mostly are, with just this mean.
    explicit DitheredBytes(const Vector3 &rgb);

    /// Two bytes, the second with this share.
    DitheredBytes(const RgbBytes &low, const RgbBytes &high, double share);

    /// What a gamut table has for a colour whose channels are `place`, from 0 to 63.
    DitheredBytes(std::span<const std::uint8_t> gamut_table, const Vector3 &place);

    /// The bytes of a pixel whose threshold, the same for all channels, is `threshold`.
    RgbBytes at(double threshold) const;

  private:
    Vector3 upper_{};                 // by channel, the share of pixels that are rounded up
    std::array<RgbBytes, 8> corners_; // by which channels are rounded up: 4 red, 2 green, 1 blue
};

/// Diffuses flat patches as the library does (its kernels, its arithmetic), but with tables of its
/// own, since the library can adopt only one package at a time, and with many patches side by side.
class PatchSimulation {
  public:
    static constexpr std::size_t lanes = 16; // patches at a time

    struct Area {
        int size;       // pixels each way
        int border;     // pixels at each side that are left out of the mean
        int blocks = 1; // each way, that the rest is divided into
        int lead = 0;   // rows above in which the errors can gather, as a preparation prepends them
    };

    /// `quantisation` is a package's table of palette indices; it must outlive the simulation.
    PatchSimulation(const Characterisation &panel, std::span<const std::uint8_t> quantisation);

    /// The mean light of each block, row by row, of patches whose pixels the gamut table has mapped
    /// to `colours`, 1 to `lanes` of them. `dithering_mode` is an enum Oxel_dithering_mode.
    std::vector<std::vector<Vector3>>
    block_lights(int dithering_mode, std::span<const DitheredBytes> colours, Area area) const;

    /// The mean of all blocks.
    std::vector<Vector3> mean_light(int dithering_mode, std::span<const DitheredBytes> colours,
                                    Area area) const;

  private:
    std::span<const std::uint8_t> quantisation_;
    std::vector<Vector3> lights_;
    std::array<std::uint64_t, 256> palette_{}; // a word of 16 bits a channel
};

} // namespace oxel::tools

#endif
