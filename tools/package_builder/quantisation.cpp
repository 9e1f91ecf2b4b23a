#include "package_builder/quantisation.h"

#include "package_builder/cells.h"

#include <array>

namespace oxel::tools {

namespace {

/// Chosen by the colour error and the grain of flat patches and by photographs; see docs/colour.md.
constexpr Vector3 lab_weights = {1.5, 1, 0.8};

/// In bytes, about a cell: one that the surface runs through is not outside.
constexpr double surface_thickness = 4;

Vector3 weighted_lab(const Vector3 &light) {
    const Vector3 lab = lab_from_light(light);
    return {lab_weights[0] * lab[0], lab_weights[1] * lab[1], lab_weights[2] * lab[2]};
}

class Quantiser {
  public:
    explicit Quantiser(const Characterisation &panel) : panel_(panel) {
        for (const Vector3 &light : panel.lights())
            palette_.push_back(weighted_lab(light));
    }

    std::uint8_t index(const Vector3 &srgb, const Vector3 &light) const {
        const Vector3 place = weighted_lab(light);
        Choice choice;
        if (!panel_.holds(light)) {
            const Mixture nearest = panel_.nearest(light);
            const Vector3 surface = srgb_from_light(nearest.of(panel_.corner_lights()));
            if (squared_distance(surface, srgb) > surface_thickness * surface_thickness) {
                for (std::size_t i = 0; i < nearest.count; ++i)
                    consider(panel_.corner_index(nearest.points[i]), place, choice);
                return choice.index;
            }
        }
        for (std::size_t i = 0; i < palette_.size(); ++i)
            consider(i, place, choice);
        return choice.index;
    }

  private:
    struct Choice {
        std::uint8_t index = 0;
        double distance = 1e30;
    };

    void consider(std::size_t index, const Vector3 &place, Choice &choice) const {
        if (const double d = squared_distance(palette_[index], place); d < choice.distance)
            choice = {static_cast<std::uint8_t>(index), d};
    }

    const Characterisation &panel_;
    std::vector<Vector3> palette_;
};

} // namespace

std::vector<std::uint8_t> quantisation_table(const Characterisation &panel) {
    std::array<double, cell_steps> channel_light{};
    for (std::size_t step = 0; step < cell_steps; ++step)
        channel_light[step] = light_from_srgb({middle_byte(step), 0, 0})[0];
    const Quantiser quantiser(panel);
    std::vector<std::uint8_t> table;
    table.reserve(package_cells);
    for_each_cell([&](std::size_t red, std::size_t green, std::size_t blue) {
        table.push_back(
            quantiser.index({middle_byte(red), middle_byte(green), middle_byte(blue)},
                            {channel_light[red], channel_light[green], channel_light[blue]}));
    });
    return table;
}

} // namespace oxel::tools
