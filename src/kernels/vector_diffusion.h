#ifndef OXEL_KERNELS_VECTOR_DIFFUSION_H
#define OXEL_KERNELS_VECTOR_DIFFUSION_H

#include "portable.h"
#include "segments.h"
#include "wavefront.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// The procedure for one kernel: how much memory it wants, and the procedure itself. Serpentine
/// rows too short for the lanes of a `Target` go to the form that its narrower() tells.
template <class Target, const DiffusionKernel &kernel>
struct Diffusion {
    using Plain = Wavefront<Target, kernel>;
    using Serpentine = Segments<Target, kernel>;

    static std::uint64_t memory(const DiffusionJob &job) {
        const std::int32_t width = job.picture.width;
        return !job.serpentine               ? Plain::memory(width)
               : Serpentine::apply_to(width) ? Serpentine::memory(width)
                                             : Target::narrower().diffusion_memory(job);
    }

    static void run(const DiffusionJob &job, void *memory) {
        if (!job.serpentine)
            Plain::diffuse(job, memory);
        else if (Serpentine::apply_to(job.picture.width))
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
