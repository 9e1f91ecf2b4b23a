#ifndef OXEL_FORMS_VECTOR_DIFFUSION_H
#define OXEL_FORMS_VECTOR_DIFFUSION_H

#include "portable.h"
#include "segments.h"
#include "wavefront.h"

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// Chooses the procedure for a picture. One that is too small to fill the lanes of a `Target` is
/// left to a form with fewer of them, Target::narrower().
template <class Target, const DiffusionKernel &kernel>
struct Diffusion {
    using Plain = Wavefront<Target, kernel>;
    using Serpentine = Segments<Target, kernel>;

    static bool runs_plain(const DiffusionJob &job) {
        return !job.serpentine && Plain::pays_for(job.picture);
    }
    static bool runs_serpentine(const DiffusionJob &job) {
        return job.serpentine && Serpentine::pays_for(job.picture);
    }

    static std::uint64_t memory(const DiffusionJob &job) {
        return runs_plain(job)        ? Plain::memory(job.picture.width)
               : runs_serpentine(job) ? Serpentine::memory(job.picture.width)
                                      : Target::narrower().diffusion_memory(job);
    }

    static void run(const DiffusionJob &job, void *memory) {
        if (runs_plain(job))
            Plain::sweep(job, memory);
        else if (runs_serpentine(job))
            Serpentine::scan_rows(job, memory);
        else
            Target::narrower().diffuse(job, memory);
    }
};

template <class Target>
std::uint64_t diffusion_memory_in_lanes(const DiffusionJob &job) {
    return with_kernel(job.kernel, [&]<const DiffusionKernel & kernel>() {
        return Diffusion<Target, kernel>::memory(job);
    });
}

template <class Target>
void diffuse_in_lanes(const DiffusionJob &job, void *memory) {
    with_kernel(job.kernel, [&]<const DiffusionKernel & kernel>() {
        Diffusion<Target, kernel>::run(job, memory);
    });
}

} // namespace

} // namespace oxel

#endif
