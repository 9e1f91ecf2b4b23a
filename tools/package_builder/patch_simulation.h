#ifndef OXEL_TOOLS_PATCH_SIMULATION_H
#define OXEL_TOOLS_PATCH_SIMULATION_H

#include "package_builder/cells.h"
#include "package_builder/characterisation.h"
#include "preparation/grid.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

/// The library's, and how many values enum Oxel_dithering_mode has: plain and serpentine order of
/// each.
constexpr std::size_t kernels = 3;
constexpr std::size_t dithering_modes = 2 * kernels;

Vector3 mean(std::span<const Vector3> vectors);

/// The bytes that a diffusion is given for a flat colour. A picture is dithered onto the grid of
/// the gamut table before it is rendered, so its pixels ask for neighbouring cells in turn.
class DitheredBytes {
  public:
    /// Of the preparation's, as many as are told apart: a third of them are a whole number.
    static constexpr std::size_t thresholds = 96;

    DitheredBytes(const RgbBytes &rgb) { by_threshold_.fill(rgb); } // NOLINT: as good as bytes

    /// Channels that need not be whole: bytes four apart, as cells mostly are, with just this mean,
    /// and a table's texture.
    explicit DitheredBytes(const Vector3 &rgb, double texture = 0);

    /// What a table of greys has, from 0 to 63.
    DitheredBytes(std::span<const RgbBytes, cell_steps> greys, double place);

    /// What a gamut table has for a colour of a picture.
    DitheredBytes(std::span<const std::uint8_t> gamut_table, Grid grid, const RgbBytes &colour);

    const RgbBytes &at(std::size_t threshold) const { return by_threshold_[threshold]; }

    bool operator==(const DitheredBytes &) const = default;

    struct Hash {
        std::size_t operator()(const DitheredBytes &bytes) const;
    };

  private:
    std::array<RgbBytes, thresholds> by_threshold_;
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
