#include "jobs.h"

#include "Oxel_Morvel6_render.h"
#include "dithering.h"
#include "power_guard.h"
#include "render_pipeline.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <limits>

namespace bench {

namespace {

constexpr const char *modes[] = {"floyd",          "floyd-serpentine", "jjn",
                                 "jjn-serpentine", "stucki",           "stucki-serpentine"};
static_assert(std::size(modes) == oxel::dithering_modes);
constexpr const char *plain_render = "render floyd";

/// A result that is no picture.
void keep(Bytes &out, double number) {
    std::memcpy(out.data(), &number, std::min(out.size(), sizeof number));
}

void add_renders(std::vector<Job> &jobs, const PackageFile &package, const Scene &scene) {
    const std::uint8_t *in = scene.pixels.data();
    const int w = scene.width, h = scene.height;
    for (int mode = 0; mode < int(oxel::dithering_modes); ++mode)
        jobs.push_back({std::string("render ") + modes[mode],
                        [=](Bytes &out) {
                            Oxel_Morvel6_render(in, ORDER_RGB, out.data(), ORDER_RGB, w, h,
                                                static_cast<std::uint32_t>(mode), OUTPUT_TCON_CODE);
                        },
                        [=, &package](Bytes &out) {
                            yardstick::render(package.tables, in, w, h, mode, out.data());
                        },
                        ""});
    jobs.push_back({"render all outputs",
                    [=](Bytes &out) {
                        static Bytes nominal, eo;
                        nominal.resize(out.size());
                        eo.resize(out.size());
                        Oxel_Morvel6_render_All(in, ORDER_RGB, out.data(), nominal.data(),
                                                eo.data(), nullptr, w, h, DITHER_FLOYD);
                    },
                    nullptr, plain_render});
}

void add_guarded_renders(std::vector<Job> &jobs, const Scene &scene) {
    const auto add = [&](const std::string &name, const Bytes &pixels, double threshold,
                         std::int32_t verdict) {
        const auto render = [=, &pixels, w = scene.width, h = scene.height](Bytes &out) {
            std::int32_t given = -1;
            Oxel_Morvel6_render_with_powerGuard(pixels.data(), ORDER_RGB, out.data(), ORDER_RGB, w,
                                                h, DITHER_FLOYD, OUTPUT_TCON_CODE, threshold,
                                                &given);
            if (given != verdict)
                fail(name + ": another verdict");
        };
        jobs.push_back({name, render, nullptr, plain_render});
    };
    add("render guarded, passed", scene.pixels, std::numeric_limits<double>::infinity(),
        GUARD_PASSED);
    // One row further down, each pair has a row of either kind, and all pairs are much alike.
    if (scene.striped_measure > 0.0)
        add("render guarded, passed shifted", scene.striped, scene.striped_measure,
            GUARD_PASSED_SHIFTED);
    add("render guarded, blanked", scene.pixels, 0.0, GUARD_BLANKED);
}

/// Gamut mapping is what these leave of a render.
void add_stages(std::vector<Job> &jobs, const PackageFile &package, const Scene &scene) {
    const int w = scene.width, h = scene.height;
    for (int mode = 0; mode < int(oxel::dithering_modes); ++mode)
        jobs.push_back(
            {std::string("diffuse ") + modes[mode],
             [=, &scene, routine = oxel::dithering_routines[mode / 2]](Bytes &out) {
                 routine(scene.mapped.data(), ORDER_RGB, out.data(), static_cast<std::uint32_t>(w),
                         h, static_cast<std::uint8_t>(mode % 2));
             },
             [=, &package, &scene](Bytes &out) {
                 yardstick::dither(package.tables, scene.mapped.data(), w, h, mode, out.data());
             },
             std::string("render ") + modes[mode]});
    jobs.push_back({"write codes",
                    [=, &scene](Bytes &out) {
                        const oxel::Output output{out.data(), ORDER_RGB, OUTPUT_TCON_CODE};
                        const oxel::Destination image = oxel::images_of({&output, 1}, {w, h});
                        for (int row = 0; row < h; ++row)
                            deliver(image, row, 0, scene.indices.data() + std::ptrdiff_t{row} * w,
                                    w);
                    },
                    nullptr, plain_render});
    jobs.push_back(
        {"measure",
         [=, &scene](Bytes &out) {
             keep(out, oxel::calculate_difference_of_central_tendency(scene.indices.data(), w, h));
         },
         [=, &package, &scene](Bytes &out) {
             keep(out, yardstick::measure(package.tables, scene.indices.data(), w, h));
         },
         plain_render});
}

void add_adjustments(std::vector<Job> &jobs, const Scene &scene) {
    const std::uint8_t *in = scene.pixels.data();
    const int w = scene.width, h = scene.height;
    const auto add = [&](const char *name, double gamma, const char *beside) {
        jobs.push_back(
            {name,
             [=](Bytes &out) {
                 Oxel_image_adjustment(in, ORDER_RGB, out.data(), ORDER_RGB, w, h, 10, 20, 5, 10,
                                       gamma);
             },
             [=](Bytes &out) { yardstick::adjust(in, w, h, 10, 20, 5, 10, gamma, out.data()); },
             beside});
    };
    add("adjust", 1.0, "");
    add("adjust with gamma", 2.2, "adjust");
}

void add_init(std::vector<Job> &jobs, const Bytes &file) {
    const auto size = static_cast<std::uint32_t>(file.size());
    jobs.push_back(
        {"init", [=, &file](Bytes &out) { keep(out, Oxel_Morvel6_render_init(file.data(), size)); },
         [=, &file](Bytes &out) {
             const std::uint32_t crc = yardstick::crc32(file.data(), size - 4);
             keep(out, std::memcmp(&crc, &file[size - 4], 4) != 0);
         },
         ""});
}

void add_layouts(std::vector<Job> &jobs, const Scene &scene) {
    constexpr const char *copying = "copy there and back";
    jobs.push_back({copying,
                    [](Bytes &out) {
                        static Bytes other;
                        other.resize(out.size());
                        std::memcpy(other.data(), out.data(), out.size());
                        benchmark::DoNotOptimize(other.data());
                        benchmark::ClobberMemory();
                        std::memcpy(out.data(), other.data(), out.size());
                    },
                    nullptr, ""});
    for (int mode = TFT_PAIR_MERGE_UPPER_FIRST; mode <= TFT_HSD_EVEN_ODD; ++mode)
        jobs.push_back({"layout " + std::to_string(mode),
                        [=, w = scene.width, h = scene.height](Bytes &out) {
                            int width = w, height = h;
                            Oxel_TFT_format_transfer(out.data(), &width, &height, mode);
                        },
                        nullptr, copying});
}

} // namespace

std::vector<Job> jobs_of(const PackageFile &package, const Scene &scene) {
    std::vector<Job> jobs;
    add_renders(jobs, package, scene);
    add_guarded_renders(jobs, scene);
    add_stages(jobs, package, scene);
    add_adjustments(jobs, scene);
    add_init(jobs, package.bytes);
    add_layouts(jobs, scene);
    return jobs;
}

} // namespace bench
