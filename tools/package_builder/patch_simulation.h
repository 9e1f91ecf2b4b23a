#ifndef OXEL_TOOLS_PATCH_SIMULATION_H
#define OXEL_TOOLS_PATCH_SIMULATION_H

#include "package_builder/characterisation.h"

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace oxel::tools {

/// Diffuses flat patches as the library does (its kernels, its arithmetic), but with tables of its
/// own, since the library can adopt only one package at a time, and with many patches side by side.
class PatchSimulation {
  public:
    static constexpr std::size_t lanes = 16; // patches at a time

    struct Area {
        int size;   // pixels each way
        int border; // pixels at each side that are left out of the mean
    };

    /// `quantisation` is a package's table of palette indices; it must outlive the simulation.
    PatchSimulation(const Characterisation &panel, std::span<const std::uint8_t> quantisation);

    /// The mean light of patches whose pixels the gamut table has mapped to `bytes`, 1 to `lanes`
    /// of them. `dithering_mode` is an enum Oxel_dithering_mode.
    std::vector<Vector3> mean_light(int dithering_mode, std::span<const RgbBytes> bytes,
                                    Area area) const;

  private:
    std::span<const std::uint8_t> quantisation_;
    std::vector<Vector3> lights_;
    std::array<std::uint64_t, 256> palette_{}; // a word of 16 bits a channel
};

} // namespace oxel::tools

#endif
