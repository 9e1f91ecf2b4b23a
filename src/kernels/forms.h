#ifndef OXEL_KERNELS_FORMS_H
#define OXEL_KERNELS_FORMS_H

#include "../diffusion.h"

#include <cstddef>
#include <cstdint>

namespace [[gnu::visibility("hidden")]] oxel {

constexpr std::size_t cache_line = 64;

/// The library's inner loops as written for one instruction set. All forms give the same results.
struct Form {
    const char *name;
    bool (*runs_here)();

    /// Bytes of work memory, zeroed and aligned to a cache line, that `diffuse` wants.
    std::size_t (*diffusion_memory)(const DiffusionJob &job);
    void (*diffuse)(const DiffusionJob &job, void *memory);

    /// Writes the first three bytes of each index's colour.
    void (*write_pixels)(const std::uint8_t *indices, std::size_t count,
                         const std::uint8_t (*colours)[4], std::uint8_t *pixels);
};

/// Every form of this build, the fastest first; the last one runs everywhere.
struct Forms {
    const Form *const *first;
    std::size_t count;
    const Form *const *begin() const { return first; }
    const Form *const *end() const { return first + count; }
};
Forms all_forms();

/// The first form that runs here, or the one that a test forces.
const Form &chosen_form();

/// For tests and benches: null lets the processor choose again. Not while other calls run.
void force_form(const Form *form);

} // namespace oxel

#endif
