#ifndef OXEL_FORMS_VECTOR_DIFFUSION_H
#define OXEL_FORMS_VECTOR_DIFFUSION_H

#include "portable.h"
#include "segments.h"
#include "wavefront.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// The procedure for one kernel, and the memory that it wants. Pictures too small for the lanes of
/// a `Target` go to the form that its narrower() tells.
template <class Target, const DiffusionKernel &kernel>
struct Diffusion {
    using Plain = Wavefront<Target, kernel>;
    using Serpentine = Segments<Target, kernel>;

    static bool runs_plain(const DiffusionJob &job) {
        return !job.serpentine && Plain::pays_for(job.picture.height);
    }
    static bool runs_serpentine(const DiffusionJob &job) {
        return job.serpentine && Serpentine::pays_for(job.picture.width);
    }

    static std::uint64_t memory(const DiffusionJob &job) {
        return runs_plain(job)        ? Plain::memory(job.picture.width)
               : runs_serpentine(job) ? Serpentine::memory(job.picture.width)
                                      : Target::narrower().diffusion_memory(job);
    }

    static void run(const DiffusionJob &job, void *memory) {
        if (runs_plain(job))
            Plain::diffuse(job, memory);
        else if (runs_serpentine(job))
            Serpentine::diffuse(job, memory);
        else
            Target::narrower().diffuse(job, memory);
    }
};

template <class Target>
std::uint64_t diffusion_memory(const DiffusionJob &job) {
    switch (job.kernel) {
    case Kernel::floyd_steinberg:
        return Diffusion<Target, floyd_steinberg>::memory(job);
    case Kernel::jarvis_judice_ninke:
        return Diffusion<Target, jarvis_judice_ninke>::memory(job);
    default:
        return Diffusion<Target, stucki>::memory(job);
    }
}

template <class Target>
void diffuse(const DiffusionJob &job, void *memory) {
    switch (job.kernel) {
    case Kernel::floyd_steinberg:
        return Diffusion<Target, floyd_steinberg>::run(job, memory);
    case Kernel::jarvis_judice_ninke:
        return Diffusion<Target, jarvis_judice_ninke>::run(job, memory);
    default:
        return Diffusion<Target, stucki>::run(job, memory);
    }
}

} // namespace

} // namespace oxel

#endif
