// Times the library beside the yardstick, in one process and in turns:
//
//   speed PACKAGE PICTURE.ppm ... [--benchmark_filter=...]
//
// Every result is compared with the yardstick's, or where that has none with the plain form's,
// before anything is timed. At the end stand ratios of medians over all rounds: how many times
// faster than the yardstick each form is, and what one job takes beside another.
#include "forms/forms.h"
#include "jobs.h"
#include "ratios.h"

#include "Oxel_Morvel6_render.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <malloc.h>

using namespace bench;

namespace {

std::size_t heap = 0, heap_peak = 0;

std::vector<const oxel::Form *> forms_here() {
    std::vector<const oxel::Form *> forms;
    for (const oxel::Form *form : oxel::all_forms())
        if (form->runs_here())
            forms.push_back(form);
    return forms;
}

/// What each form has to leave of the picture.
Bytes expected_result(const Job &job, const Scene &scene) {
    Bytes expected = scene.pixels;
    oxel::force_form(oxel::all_forms().end()[-1]);
    if (job.yardstick)
        job.yardstick(expected);
    else
        job.library(expected);
    return expected;
}

void check(const Job &job, const oxel::Form &form, const Scene &scene, const Bytes &expected) {
    Bytes out = scene.pixels;
    oxel::force_form(&form);
    job.library(out);
    if (out != expected)
        fail(job.name + " of " + scene.name + ": " + form.name + " gives another result");
}

void add(const Place &place, const std::function<void(Bytes &)> &work, const oxel::Form *form,
         const Scene &scene) {
    benchmark::RegisterBenchmark(place.name().c_str(), [=, &scene](benchmark::State &state) {
        oxel::force_form(form);
        Bytes out = scene.pixels;
        heap_peak = heap = 0;
        for (auto _ : state) {
            work(out);
            benchmark::ClobberMemory();
        }
        state.counters["heap_KiB"] = static_cast<double>(heap_peak) / 1024;
        state.counters["megapixels"] = static_cast<double>(scene.pixels.size() / 3) / 1e6;
    })->Unit(benchmark::kMillisecond);
}

/// Returns the benches' places by name.
std::map<std::string, Place> register_jobs(const std::vector<Job> &jobs, const Scene &scene) {
    std::map<std::string, Place> places;
    const auto place = [&](const Job &job, const char *form) {
        const Place taken{scene.size(), job.name, form, scene.name};
        return places[taken.name()] = taken;
    };
    for (const Job &job : jobs) {
        if (job.yardstick)
            add(place(job, yardstick_form), job.yardstick, nullptr, scene);
        const Bytes expected = expected_result(job, scene);
        for (const oxel::Form *form : forms_here()) {
            check(job, *form, scene, expected);
            add(place(job, form->name), job.library, form, scene);
        }
    }
    return places;
}

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
                      "--benchmark_min_time=0.02"});
    std::vector<char *> pointers;
    for (auto &argument : arguments)
        pointers.push_back(argument.data());
    auto count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (count < 3)
        fail("usage: speed PACKAGE PICTURE.ppm ... [--benchmark_...]");

    const PackageFile package = read_package(pointers[1]);
    std::deque<Scene> scenes; // which jobs refer to
    std::map<std::string, Place> places;
    std::vector<Job> jobs; // the same for all scenes
    for (int i = 2; i < count; ++i) {
        const Scene &scene =
            scenes.emplace_back(read_scene(pointers[static_cast<std::size_t>(i)], package.tables));
        jobs = jobs_of(package, scene);
        places.merge(register_jobs(jobs, scene));
    }
    std::vector<std::string> forms;
    for (const oxel::Form *form : forms_here())
        forms.emplace_back(form->name);
    std::printf("\nCompiled by %s.\n", __VERSION__);
    Ratios ratios(places, forms, jobs);
    benchmark::RunSpecifiedBenchmarks(&ratios);
}
