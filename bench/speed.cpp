// Times the library beside the yardstick, in one process and in turns:
//
//   speed PACKAGE PICTURE.ppm ... [--benchmark_filter=...]
//
// Every result is compared with the yardstick's before anything is timed. At the end stands how
// many times faster than the yardstick each form is, by medians of all rounds.
#include "Oxel_Morvel6_render.h"
#include "kernels/forms.h"
#include "yardstick.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <malloc.h>
#include <map>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

std::size_t heap = 0, heap_peak = 0;

[[noreturn]] void fail(const std::string &what) {
    std::fprintf(stderr, "speed: %s\n", what.c_str());
    std::exit(1);
}

Bytes read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        fail(path + ": cannot be read");
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Picture {
    std::string name;
    int width = 0, height = 0;
    Bytes pixels;
};

/// A binary PPM.
Picture read_picture(const std::string &path) {
    Picture picture;
    const Bytes file = read_file(path);
    std::vector<int> numbers;
    std::size_t i = 2;
    while (numbers.size() < 3 && i < file.size()) {
        if (file[i] == '#')
            while (i < file.size() && file[i] != '\n')
                ++i;
        if (std::isdigit(file[i])) {
            numbers.push_back(0);
            for (; i < file.size() && std::isdigit(file[i]); ++i)
                numbers.back() = 10 * numbers.back() + (file[i] - '0');
        }
        ++i;
    }
    if (numbers.size() < 3 || file[0] != 'P' || file[1] != '6' || numbers[2] != 255)
        fail(path + ": not a binary PPM of 8 bits");
    picture.width = numbers[0];
    picture.height = numbers[1];
    picture.pixels.assign(file.begin() + static_cast<std::ptrdiff_t>(i), file.end());
    if (picture.pixels.size() != 3U * static_cast<unsigned>(picture.width * picture.height))
        fail(path + ": not as long as its header says");
    const std::size_t start = path.find_last_of('/') + 1;
    picture.name = path.substr(start, path.find_last_of('.') - start);
    return picture;
}

yardstick::Package open_package(const Bytes &package) {
    if (Oxel_Morvel6_render_init(package.data(), static_cast<std::uint32_t>(package.size())) != 0)
        fail("not a package");
    const auto table = [&](std::size_t field) {
        return package.data() +
               (package[field] | package[field + 1] << 8 | package[field + 2] << 16);
    };
    return {table(12), table(16), table(20), table(24), package[10]};
}

/// What is timed: a thing that the yardstick and all forms do, or the library alone.
struct Job {
    std::string name;
    std::function<void(Bytes &)> yardstick; // gives the bytes to compare
    std::function<void(Bytes &)> library;
};

std::vector<Job> jobs_of(const yardstick::Package &package, const Picture &p, const Bytes &file) {
    const std::uint8_t *in = p.pixels.data();
    const int w = p.width, h = p.height;
    const auto render = [=](std::uint32_t mode, std::uint8_t *out) {
        Oxel_Morvel6_render(in, 0, out, 0, w, h, mode, OUTPUT_TCON_CODE);
    };
    const auto guard = [=](double threshold, Bytes &out) {
        std::int32_t verdict = 0;
        Oxel_Morvel6_render_with_powerGuard(in, 0, out.data(), 0, w, h, DITHER_FLOYD,
                                            OUTPUT_TCON_CODE, threshold, &verdict);
    };
    const auto plain = [=, &package](Bytes &out) {
        yardstick::render(package, in, w, h, DITHER_FLOYD, out.data());
    };
    std::vector<Job> jobs;
    constexpr const char *modes[] = {"floyd",          "floyd-serpentine", "jjn",
                                     "jjn-serpentine", "stucki",           "stucki-serpentine"};
    for (int mode = 0; mode < 6; ++mode)
        jobs.push_back(
            {std::string("render ") + modes[mode],
             [=, &package](Bytes &out) { yardstick::render(package, in, w, h, mode, out.data()); },
             [=](Bytes &out) { render(static_cast<std::uint32_t>(mode), out.data()); }});
    // Beside the yardstick's plain render, which is not the same work:
    jobs.push_back({"render all outputs", plain, [=](Bytes &out) {
                        static Bytes nominal, eo;
                        nominal.resize(out.size());
                        eo.resize(out.size());
                        Oxel_Morvel6_render_All(in, 0, out.data(), nominal.data(), eo.data(),
                                                nullptr, w, h, DITHER_FLOYD);
                    }});
    jobs.push_back({"render guarded, passing", plain,
                    [=](Bytes &out) { guard(std::numeric_limits<double>::infinity(), out); }});
    jobs.push_back({"render guarded, blanked", nullptr, [=](Bytes &out) { guard(0.0, out); }});
    for (const double gamma : {1.0, 2.2})
        jobs.push_back(
            {gamma == 1.0 ? "adjust" : "adjust with gamma",
             [=](Bytes &out) { yardstick::adjust(in, w, h, 10, 20, 5, 10, gamma, out.data()); },
             [=](Bytes &out) {
                 Oxel_image_adjustment(in, 0, out.data(), 0, w, h, 10, 20, 5, 10, gamma);
             }});
    jobs.push_back({"init",
                    [&file](Bytes &out) {
                        const std::uint32_t crc = yardstick::crc32(file.data(), file.size() - 4);
                        std::memcpy(out.data(), &crc, 4);
                    },
                    [&file](Bytes &out) {
                        Oxel_Morvel6_render_init(file.data(),
                                                 static_cast<std::uint32_t>(file.size()));
                        std::memcpy(out.data(), file.data() + file.size() - 4, 4);
                    }});
    for (int mode = TFT_PAIR_MERGE_UPPER_FIRST; mode <= TFT_HSD_EVEN_ODD; ++mode)
        jobs.push_back({"layout " + std::to_string(mode), // beside copying there and back
                        [](Bytes &out) {
                            static Bytes other;
                            other.resize(out.size());
                            std::memcpy(other.data(), out.data(), out.size());
                            benchmark::DoNotOptimize(other.data());
                            benchmark::ClobberMemory();
                            std::memcpy(out.data(), other.data(), out.size());
                        },
                        [=](Bytes &out) {
                            int width = w, height = h;
                            Oxel_TFT_format_transfer(out.data(), &width, &height, mode);
                        }});
    return jobs;
}

void add(const std::string &name, const std::function<void(Bytes &)> &work, const oxel::Form *form,
         std::size_t bytes) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
        oxel::force_form(form);
        Bytes out(bytes);
        heap_peak = heap = 0;
        for (auto _ : state) {
            work(out);
            benchmark::ClobberMemory();
        }
        state.counters["heap_KiB"] = static_cast<double>(heap_peak / 1024);
    })->Unit(benchmark::kMillisecond);
}

void register_jobs(const std::vector<Job> &jobs, const Picture &p) {
    const std::string size = std::to_string(p.width) + "x" + std::to_string(p.height);
    for (const Job &job : jobs) {
        const std::string name = p.name + " " + size + "/" + job.name + "/";
        if (job.yardstick)
            add(name + "yardstick", job.yardstick, nullptr, p.pixels.size());
        for (const oxel::Form *form : oxel::all_forms()) {
            if (!form->runs_here())
                continue;
            oxel::force_form(form);
            Bytes expected(p.pixels.size()), out(p.pixels.size());
            if (job.yardstick && job.name.rfind("layout", 0) != 0) {
                job.yardstick(expected);
                job.library(out);
                if (out != expected)
                    fail(name + form->name + ": not what the yardstick gives");
            }
            add(name + form->name, job.library, form, p.pixels.size());
        }
    }
}

/// Collects medians, to print ratios.
class Ratios : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                medians_[run.benchmark_name().substr(0, run.benchmark_name().rfind('_'))] = {
                    run.GetAdjustedRealTime(), run.counters.at("heap_KiB")};
        }
    }
    void Finalize() override {
        std::printf("%-62s %10s %8s %9s\n", "medians", "ms", "times", "heap KiB");
        for (const auto &[name, median] : medians_) {
            const auto yard = medians_.find(name.substr(0, name.rfind('/') + 1) + "yardstick");
            std::printf("%-62s %10.3f", name.c_str(), median.milliseconds);
            if (yard != medians_.end())
                std::printf(" %8.2f %9.0f\n", yard->second.milliseconds / median.milliseconds,
                            median.heap);
            else
                std::printf(" %8s %9.0f\n", "", median.heap);
        }
    }

  private:
    struct Median {
        double milliseconds;
        double heap;
    };
    std::map<std::string, Median> medians_;
};

} // namespace

extern "C" {
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void __real_free(void *memory);

static void *counted(void *memory) {
    heap += memory ? malloc_usable_size(memory) : 0;
    heap_peak = std::max(heap_peak, heap);
    return memory;
}
void *__wrap_malloc(std::size_t size) {
    return counted(__real_malloc(size));
}
void *__wrap_calloc(std::size_t count, std::size_t size) {
    return counted(__real_calloc(count, size));
}
void __wrap_free(void *memory) {
    heap -= memory ? malloc_usable_size(memory) : 0;
    __real_free(memory);
}
}

int main(int argc, char **argv) {
    std::vector<std::string> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1,
                     {"--benchmark_repetitions=7", "--benchmark_enable_random_interleaving=true",
                      "--benchmark_min_time=0.05"});
    std::vector<char *> pointers;
    for (auto &argument : arguments)
        pointers.push_back(argument.data());
    auto count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (count < 3)
        fail("usage: speed PACKAGE PICTURE.ppm ... [--benchmark_...]");
    const Bytes file = read_file(pointers[1]);
    const yardstick::Package package = open_package(file);
    std::vector<Picture> pictures;
    for (int i = 2; i < count; ++i)
        pictures.push_back(read_picture(pointers[static_cast<std::size_t>(i)]));
    for (const Picture &picture : pictures)
        register_jobs(jobs_of(package, picture, file), picture);
    std::printf("compiled by %s\n", __VERSION__);
    Ratios ratios;
    benchmark::RunSpecifiedBenchmarks(&ratios);
}
