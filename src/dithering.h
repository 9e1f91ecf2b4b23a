#ifndef OXEL_DITHERING_H
#define OXEL_DITHERING_H

#include "destination.h"
#include "diffusion.h"

#include <cstdint>
#include <iterator>

namespace [[gnu::visibility("hidden")]] oxel {

/// Diffuses a picture to palette indices, through the adopted tables, in the way that
/// `dithering_mode`, below `dithering_modes`, names and in the form that suits the processor.
/// Returns OXEL_SUCCESS, or OXEL_OUT_OF_MEMORY with the destination untouched. Re-entrant.
std::int32_t diffuse_picture(const PixelRows &picture, std::uint32_t dithering_mode,
                             const Destination &destination);

/// A dithering routine reduces a gamut-mapped image, `working_copy`, to one palette index a pixel
/// in `index_plane`, by error diffusion through the adopted tables.
///
/// `working_copy` holds width * height pixels of 3 bytes in `rgb_order` and is only read;
/// `index_plane` receives width * height bytes. A width or height that is not positive as a
/// signed number leaves it untouched. `serpentine` other than 0 scans odd rows from right to
/// left.
///
/// Returns OXEL_SUCCESS, or OXEL_OUT_OF_MEMORY with the index plane untouched. Re-entrant.
using DitheringRoutine = std::int32_t(const std::uint8_t *working_copy, std::uint32_t rgb_order,
                                      std::uint8_t *index_plane, std::uint32_t width,
                                      std::int32_t height, std::uint8_t serpentine);

DitheringRoutine Oxel_dithering_Floyd;
DitheringRoutine Oxel_dithering_Jarvis_Judice_Ninkle;
DitheringRoutine Oxel_dithering_Stucki;

/// Each at the place of its Kernel.
inline constexpr DitheringRoutine *dithering_routines[] = {
    Oxel_dithering_Floyd, Oxel_dithering_Jarvis_Judice_Ninkle, Oxel_dithering_Stucki};
static_assert(2 * std::size(dithering_routines) == dithering_modes);

} // namespace oxel

#endif
