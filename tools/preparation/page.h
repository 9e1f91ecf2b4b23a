#ifndef OXEL_TOOLS_PAGE_H
#define OXEL_TOOLS_PAGE_H

#include "preparation/inks.h"
#include "preparation/preparation.h"

#include <optional>

namespace oxel::tools {

/// A picture as the library should get it, in which some pixels have their ink already.
struct Page {
    PreparedPicture picture;              // as if nothing were ink
    std::optional<PreparedPicture> apart; // inks gave way to what is beside them; if that is needed
    InkPlane inks;
};

/// Prepares a picture of 3 channels of light a pixel, as prepare does. Both of the page's pictures
/// are to be rendered, and put together.
Page prepare_page(std::span<const std::uint16_t> light, ImageSize size, Grid grid,
                  const ExactColours &exact, InkPlane inks, int preroll);

/// The second of the page's pictures alone, of light or of bytes.
std::optional<PreparedPicture> prepare_apart(std::span<const std::uint16_t> light, ImageSize size,
                                             Grid grid, const ExactColours &exact,
                                             const InkPlane &inks, int preroll);
std::optional<PreparedPicture> prepare_apart(std::span<const std::uint8_t> bytes, ImageSize size,
                                             Grid grid, const ExactColours &exact,
                                             const InkPlane &inks, int preroll);

/// Puts a page's renderings of 3 bytes a pixel, without the rows above, together in `rendering`,
/// which is that of the picture; so what no ink is near stays as it is. `apart` is the other one.
/// `colours` holds 3 bytes for each palette index.
void put_together(std::span<const std::int16_t> inks, std::span<const std::uint8_t> colours,
                  std::span<const std::uint8_t> apart, std::span<std::uint8_t> rendering);

} // namespace oxel::tools

#endif
