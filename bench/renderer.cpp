#include "renderer.h"

#include "package_builder/package_file.h"
#include "panels/picture_needs.h"
#include "render/library.h"
#include "render/prepared_render.h"

#include <vips/vips8>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace oxel::tools {

LightImage seen_image(const Light &light, ImageSize size) {
    LightImage image{size, std::vector<float>(light.size())};
    std::transform(light.begin(), light.end(), image.values.begin(),
                   [](std::uint16_t channel) { return float(channel) / 65535; });
    return image;
}

LightImage seen_image(const Bytes &srgb, ImageSize size) {
    Light light(srgb.size());
    light_of_bytes(srgb, light);
    return seen_image(light, size);
}

std::vector<float> gaussian(const std::vector<float> &values, ImageSize size, int channels,
                            double sigma) {
    using vips::VImage;
    void *memory =
        VImage::new_from_memory(const_cast<float *>(values.data()), values.size() * sizeof(float),
                                size.width, size.height, channels, VIPS_FORMAT_FLOAT)
            .gaussblur(
                sigma,
                VImage::option()->set("precision", VIPS_PRECISION_FLOAT)->set("min_ampl", 0.01))
            .cast(VIPS_FORMAT_FLOAT)
            .write_to_memory(nullptr);
    const auto *blurred = static_cast<const float *>(memory);
    std::vector<float> result(blurred, blurred + values.size());
    g_free(memory);
    return result;
}

LightImage blur(const LightImage &image, double sigma) {
    return {image.size, gaussian(image.values, image.size, 3, sigma)};
}

std::vector<Vector3> lab_of(const LightImage &image, const Vector3 &white) {
    std::vector<Vector3> lab;
    for (std::size_t pixel = 0; pixel < image.size.pixels(); ++pixel) {
        Vector3 light = image.at(pixel);
        for (double &channel : light)
            channel = std::max(channel, 0.0); // what a blur leaves below
        lab.push_back(lab_from_light(light, white));
    }
    return lab;
}

std::vector<float> lightness_of(const LightImage &image, const Vector3 &white) {
    std::vector<float> lightness;
    for (const Vector3 &lab : lab_of(image, white))
        lightness.push_back(float(lab[0]));
    return lightness;
}

std::vector<double> lightness_detail(const LightImage &image, const Vector3 &white) {
    const std::vector<float> near = lightness_of(blur(image, 2.5), white);
    const std::vector<float> far = lightness_of(blur(image, 20), white);
    std::vector<double> detail;
    for (std::size_t i = 0; i < near.size(); ++i)
        detail.push_back(double(near[i]) - double(far[i]));
    return detail;
}

Survival survival(const std::vector<double> &wanted, const std::vector<double> &shown) {
    const auto mean = [](const std::vector<double> &values) {
        return std::accumulate(values.begin(), values.end(), 0.0) / double(values.size());
    };
    const double mean_a = mean(wanted), mean_b = mean(shown);
    double ab = 0, aa = 0, bb = 0;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        ab += (wanted[i] - mean_a) * (shown[i] - mean_b);
        aa += (wanted[i] - mean_a) * (wanted[i] - mean_a);
        bb += (shown[i] - mean_b) * (shown[i] - mean_b);
    }
    return {ab / std::sqrt(aa * bb), ab / aa};
}

Vector3 mean_light(const LightImage &image, Box box) {
    Vector3 sum{};
    for (int y = box.top; y < box.top + box.size.height; ++y)
        for (int x = box.left; x < box.left + box.size.width; ++x)
            sum = sum + image.at(std::size_t(y) * std::size_t(image.size.width) + std::size_t(x));
    return (1.0 / double(box.size.pixels())) * sum;
}

Light flat(const Vector3 &srgb, ImageSize size) {
    const Vector3 light = light_from_srgb(srgb);
    Light picture;
    for (std::size_t i = 0; i < size.pixels(); ++i)
        for (const double channel : light)
            picture.push_back(std::uint16_t(65535 * channel + 0.5));
    return picture;
}

std::vector<RgbBytes> palette_of_package(const Bytes &package) {
    const auto fields = read_package_fields(package);
    const auto bytes = package_table(package, fields->palette, 3UL * fields->colours);
    std::vector<RgbBytes> palette;
    for (std::size_t i = 0; i < bytes.size(); i += 3)
        palette.push_back({bytes[i], bytes[i + 1], bytes[i + 2]});
    return palette;
}

Renderer::Renderer(Panel panel) : panel_(std::move(panel)) {
    const Characterisation inks(palette_of_package(panel_.package));
    paper_ = inks.lights()[inks.white()];
}

Bytes Renderer::show(const Light &picture, ImageSize size) const {
    Light developed = picture;
    develop(developed, size, development, exact_colours_of(panel_.package));
    adopt_package(panel_.source, panel_.package);
    return render(prepare_page(developed, size, panel_, prepared, Inks::off), panel_, mode,
                  {.measured = true})
        .measured;
}

LightImage Renderer::see(const Light &picture, ImageSize size) const {
    return seen_image(show(picture, size), size);
}

Vector3 Renderer::see_patch(const Vector3 &srgb) const {
    constexpr ImageSize size{96, 96};
    return mean_light(see(flat(srgb, size), size), {16, 16, {64, 64}});
}

RampFigures Renderer::see_greys() const {
    std::vector<Vector3> lights;
    for (const RgbBytes &grey : ramp_greys())
        lights.push_back(see_patch(to_vector(grey)));
    return judge_ramp(Characterisation(palette_of_package(panel_.package)), lights);
}

} // namespace oxel::tools
