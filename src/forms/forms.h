#ifndef OXEL_FORMS_FORMS_H
#define OXEL_FORMS_FORMS_H

#include "portable.h"

#include <span>

namespace [[gnu::visibility("hidden")]] oxel {

/// The library's inner loops as written for one instruction set. All forms give the same results.
struct Form {
    const char *name;
    bool (*runs_here)();
    decltype(&portable::diffusion_memory) diffusion_memory = portable::diffusion_memory;
    decltype(&portable::diffuse) diffuse = portable::diffuse;
    decltype(&portable::write_pixels) write_pixels = portable::write_pixels;
    decltype(&portable::count_indices) count_indices = portable::count_indices;
    decltype(&portable::power) power = portable::power;
    decltype(&portable::adjust) adjust = portable::adjust;
    decltype(&portable::map_bytes) map_bytes = portable::map_bytes;
    decltype(&portable::merge_rows) merge_rows = portable::merge_rows;
    decltype(&portable::split_row) split_row = portable::split_row;
    decltype(&portable::crc32) crc32 = portable::crc32;
};

extern const Form portable_form;

/// Every form of this build, the fastest first; the last one is the portable form.
std::span<const Form *const> all_forms();

/// The first form that runs here, or the one that a test forces.
const Form &chosen_form();

/// For tests and benches: null lets the processor choose again. Not while other calls run.
void force_form(const Form *form);

} // namespace oxel

#endif
