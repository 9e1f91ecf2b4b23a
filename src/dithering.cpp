#include "dithering.h"

#include "Oxel_Morvel6_render.h"
#include "forms/forms.h"
#include "heap_bytes.h"
#include "library_state.h"

#include <cstddef>

namespace [[gnu::visibility("hidden")]] oxel {

std::int32_t diffuse_picture(const PixelRows &picture, std::uint32_t dithering_mode,
                             const Destination &destination) {
    const DiffusionJob job{.picture = picture,
                           .kernel = static_cast<Kernel>(dithering_mode / 2),
                           .serpentine = dithering_mode % 2 != 0,
                           .cells = QLUT,
                           .palette = EO_RGB_color,
                           .colours = largest_index + 1,
                           .destination = &destination};
    const Form &form = chosen_form();
    const std::uint64_t bytes = form.diffusion_memory(job) + cache_line;
    if (bytes > PTRDIFF_MAX)
        return OXEL_OUT_OF_MEMORY;
    const auto memory = HeapBytes::zeroed(static_cast<std::size_t>(bytes));
    if (!memory)
        return OXEL_OUT_OF_MEMORY;
    if (!destination.plane && destination.image_count == 0)
        return OXEL_SUCCESS; // the caller is about to refuse the only output
    const auto misplaced = reinterpret_cast<std::uintptr_t>(memory.get()) % cache_line;
    form.diffuse(job, memory.get() + (cache_line - misplaced));
    return OXEL_SUCCESS;
}

namespace {

std::int32_t dither(std::uint32_t plain_mode, const std::uint8_t *working_copy,
                    std::uint32_t rgb_order, std::uint8_t *index_plane, std::uint32_t width,
                    std::int32_t height, std::uint8_t serpentine) {
    const auto signed_width = static_cast<std::int32_t>(width);
    if (signed_width <= 0 || height <= 0)
        return OXEL_SUCCESS;
    return diffuse_picture({working_copy, rgb_order, signed_width, height, 0, nullptr},
                           plain_mode + (serpentine != 0),
                           {.width = signed_width, .plane = index_plane});
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
