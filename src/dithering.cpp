#include "dithering.h"

#include "Oxel_Morvel6_render.h"
#include "forms/forms.h"
#include "heap_array.h"
#include "library_state.h"

#include <cstddef>
#include <cstring>

namespace [[gnu::visibility("hidden")]] oxel {

DiffusionJob diffusion_job(const PixelRows &picture, std::uint32_t dithering_mode,
                           IndexSink &sink) {
    constexpr Kernel kernels[] = {Kernel::floyd_steinberg, Kernel::jarvis_judice_ninke,
                                  Kernel::stucki};
    return {picture,
            kernels[dithering_mode / 2],
            dithering_mode % 2 != 0,
            QLUT,
            EO_RGB_color,
            largest_index + 1,
            &sink};
}

std::int32_t diffuse(const DiffusionJob &job) {
    const Form &form = chosen_form();
    const std::uint64_t bytes = form.diffusion_memory(job) + cache_line;
    if (bytes > PTRDIFF_MAX)
        return OXEL_OUT_OF_MEMORY;
    const auto memory = HeapArray<std::uint8_t>::zeroed(static_cast<std::size_t>(bytes));
    if (!memory)
        return OXEL_OUT_OF_MEMORY;
    const auto misplaced = reinterpret_cast<std::uintptr_t>(memory.get()) % cache_line;
    form.diffuse(job, memory.get() + (cache_line - misplaced));
    return OXEL_SUCCESS;
}

void IndexPlane::keep(IndexSink &self, std::int32_t row, std::int32_t column,
                      const std::uint8_t *indices, std::int32_t count) {
    const auto &plane = static_cast<const IndexPlane &>(self);
    std::memcpy(plane.plane_ + std::ptrdiff_t{row} * plane.width_ + column, indices,
                static_cast<std::size_t>(count));
}

namespace {

std::int32_t dither(std::uint32_t plain_mode, const std::uint8_t *working_copy,
                    std::uint32_t rgb_order, std::uint8_t *index_plane, std::uint32_t width,
                    std::int32_t height, std::uint8_t serpentine) {
    const auto signed_width = static_cast<std::int32_t>(width);
    if (signed_width <= 0 || height <= 0)
        return OXEL_SUCCESS;
    IndexPlane plane(index_plane, signed_width);
    const PixelRows picture{working_copy, rgb_order, signed_width, height, 0, nullptr};
    return diffuse(diffusion_job(picture, plain_mode + (serpentine != 0), plane));
}

} // namespace

std::int32_t Oxel_dithering_Floyd(const std::uint8_t *working_copy, std::uint32_t rgb_order,
                                  std::uint8_t *index_plane, std::uint32_t width,
                                  std::int32_t height, std::uint8_t serpentine) {
    return dither(DITHER_FLOYD, working_copy, rgb_order, index_plane, width, height, serpentine);
}

std::int32_t Oxel_dithering_Jarvis_Judice_Ninkle(const std::uint8_t *working_copy,
                                                 std::uint32_t rgb_order, std::uint8_t *index_plane,
                                                 std::uint32_t width, std::int32_t height,
                                                 std::uint8_t serpentine) {
    return dither(DITHER_JJN, working_copy, rgb_order, index_plane, width, height, serpentine);
}

std::int32_t Oxel_dithering_Stucki(const std::uint8_t *working_copy, std::uint32_t rgb_order,
                                   std::uint8_t *index_plane, std::uint32_t width,
                                   std::int32_t height, std::uint8_t serpentine) {
    return dither(DITHER_STUCKI, working_copy, rgb_order, index_plane, width, height, serpentine);
}

} // namespace oxel
