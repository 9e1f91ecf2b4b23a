#ifndef OXEL_TOOLS_GAMUT_MAPPING_H
#define OXEL_TOOLS_GAMUT_MAPPING_H

#include "package_builder/characterisation.h"
#include "preparation/grid.h"

#include <string>
#include <vector>

namespace oxel::tools {

/// What happens to colours that the panel cannot show.
enum class Intent {
    perceptual, // a picture's white becomes the paper's and its black the ink's, hues stay
    vivid,      // the same, but lightness gives way before chroma does
    absolute,   // reachable colours stay what they are, others become the nearest
};

/// Each at the place of its value.
const std::vector<std::string> &intent_names();

/// Where an intent's mapping puts cells: relative to paper, the outermost are just black and white.
constexpr Grid grid_of(Intent intent) {
    return intent == Intent::absolute ? Grid::middles : Grid::ends;
}

/// How an intent weighs, in OKLab, the ways in which a colour can be moved.
struct IntentRule {
    bool relative_to_paper;
    double lightness_weight;
    double chroma_weight;
    double hue_weight;
};

/// The second stage: the reachable light that stands for a source colour.
///
/// Black-point compensation and lightness compression in one curve of OKLab lightness L, whose toe
/// is as long as the panel's black is light: L'^5 = B^5 + (1 - B^5) L^5, B the lightness of the
/// panel's darkest neutral; with exponent 3 it would be the ICC's black-point compensation, which
/// is linear in light. A knee at constant hue (OKLab) for chroma beyond the panel's largest. Then
/// weighted clipping: Katoh and Ito, "Gamut mapping for computer generated images (II)", 1996, with
/// weights in OKLab.
class GamutMapping {
  public:
    /// The characterisation must outlive the mapping.
    GamutMapping(const Characterisation &panel, Intent intent);

    /// The light for each cell of a package's tables, in their order.
    std::vector<Vector3> map_cells() const;

    /// The same for every so many cells each way, from the first one on.
    std::vector<Vector3> map_every(std::size_t step) const;

    /// The light for one source colour in linear sRGB. `near` is where the search for a clipped
    /// colour starts, relative to the paper; it receives the place found.
    Vector3 map(const Vector3 &source, Vector3 &near) const;

    /// Where the cells are.
    Grid grid() const { return grid_; }

    /// A start for `map` that is as good as any.
    Vector3 start() const { return corners_.front(); }

    /// The reachable place, relative to the paper, that is nearest to `target`, in OKLab, under the
    /// intent's weights; the search starts at `near`.
    Vector3 clip(const Vector3 &target, Vector3 near) const;

  private:
    Vector3 compress(const Vector3 &oklab) const;
    double darkest_neutral() const;
    Vector3 from_paper(const Vector3 &relative) const;

    const Characterisation &panel_;
    IntentRule rule_;
    Grid grid_;
    Vector3 white_;
    std::vector<Vector3> corners_; // relative to the white
    double ink_lightness_ = 0;     // OKLab, of the black ink
    double black_lightness_ = 0;   // OKLab, of the darkest grey
    double largest_chroma_ = 0;    // OKLab
};

} // namespace oxel::tools

#endif
