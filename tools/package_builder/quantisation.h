#ifndef OXEL_TOOLS_QUANTISATION_H
#define OXEL_TOOLS_QUANTISATION_H

#include "package_builder/characterisation.h"

#include <cstdint>
#include <vector>

namespace oxel::tools {

/// The third stage: the palette index that each cell takes.
///
/// Each palette colour has a site in CIE L*a*b*, and a cell takes the colour of the site nearest to
/// its middle. Lightness counts most, as in minimal brightness variation (Shaked, Arad, Fitzhugh
/// and Sobel, "Color diffusion: error-diffusion for color halftones", 1996): that keeps grain low.
/// On the gamut's surface and beyond, only those colours can be taken that the nearest place on the
/// surface is mixed of. Else a diffusion that is asked for a colour of the surface balances its
/// errors with other colours and misses it; to force it there the compensation would have to ask
/// for colours far outside, whose errors smear.
class Quantiser {
  public:
    /// So many cells each way are taken for one: more than 1 gives a rough table in less time.
    explicit Quantiser(const Characterisation &panel, std::size_t together = 1);

    /// The colours' own places, in a CIE L*a*b* whose axes are stretched by their weights.
    const std::vector<Vector3> &own_sites() const { return own_sites_; }

    /// In the order of a package's tables. `sites` has one site for each palette colour.
    std::vector<std::uint8_t> table(const std::vector<Vector3> &sites) const;

    /// The table of sites some of which have moved, from that of the others: in less time.
    std::vector<std::uint8_t> table(const std::vector<Vector3> &sites,
                                    const std::vector<Vector3> &before,
                                    std::vector<std::uint8_t> table) const;

  private:
    struct Cell {
        Vector3 place;
        std::size_t first; // of those in a package's table that it stands for
    };

    /// Palette indices, and the cells that can take just these.
    struct Choice {
        std::vector<std::size_t> indices;
        std::vector<Cell> cells{};
    };

    void take_nearest(const Choice &choice, const std::vector<Vector3> &sites,
                      std::vector<std::uint8_t> &table) const;

    std::vector<std::size_t> offsets_; // from a cell's first, of all
    std::vector<Vector3> own_sites_;
    std::vector<Choice> choices_; // the first has all indices
};

} // namespace oxel::tools

#endif
