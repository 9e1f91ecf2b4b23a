#ifndef OXEL_BENCH_RENDERER_H
#define OXEL_BENCH_RENDERER_H

#include "Oxel_Morvel6_render.h"
#include "package_builder/patch_quality.h"
#include "panels/panel.h"
#include "preparation/development.h"
#include "preparation/light.h"

#include <vector>

namespace oxel::tools {

/// An image in linear light, 3 numbers a pixel.
struct LightImage {
    ImageSize size;
    std::vector<float> values;

    Vector3 at(std::size_t pixel) const {
        return {values[3 * pixel], values[3 * pixel + 1], values[3 * pixel + 2]};
    }
};

LightImage seen_image(const Light &light, ImageSize size);

LightImage seen_image(const Bytes &srgb, ImageSize size);

/// Of interleaved channels.
std::vector<float> gaussian(const std::vector<float> &values, ImageSize size, int channels,
                            double sigma);

LightImage blur(const LightImage &image, double sigma);

/// Relative to `white`, as all that follows.
std::vector<Vector3> lab_of(const LightImage &image, const Vector3 &white);

std::vector<float> lightness_of(const LightImage &image, const Vector3 &white);

/// The lightness of what is neither finer than 2.5 pixels nor larger than 20.
std::vector<double> lightness_detail(const LightImage &image, const Vector3 &white);

/// How detail comes through: its regression on what was wanted.
struct Survival {
    double correlation;
    double gain;
};

Survival survival(const std::vector<double> &wanted, const std::vector<double> &shown);

struct Box {
    int left;
    int top;
    ImageSize size;
};

Vector3 mean_light(const LightImage &image, Box box);

Light flat(const Vector3 &srgb, ImageSize size);

/// The palette of a package, or of a panel by its package.
std::vector<RgbBytes> palette_of_package(const Bytes &package);

/// What a panel shows, of pictures that get to it as `oxel render` has them.
class Renderer {
  public:
    explicit Renderer(Panel panel);

    const Bytes &package() const { return panel_.package; }
    const Vector3 &paper() const { return paper_; }

    /// The measured colours, 3 bytes a pixel.
    Bytes show(const Light &picture, ImageSize size) const;

    LightImage see(const Light &picture, ImageSize size) const;

    /// The light of the middle of a flat patch.
    Vector3 see_patch(const Vector3 &srgb) const;

    RampFigures see_greys() const;

    int mode = DITHER_FLOYD_SERPENTINE;
    bool prepared = true;
    Development development;

  private:
    Panel panel_;
    Vector3 paper_;
};

} // namespace oxel::tools

#endif
