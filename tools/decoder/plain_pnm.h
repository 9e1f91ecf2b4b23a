#ifndef OXEL_TOOLS_PLAIN_PNM_H
#define OXEL_TOOLS_PLAIN_PNM_H

#include "pictures/framing.h"

#include <vips/vips8>

#include <string_view>

namespace oxel::tools {

/// Looks at the head of a PNM of bytes or bits, which libvips takes for numbers whatever it holds.
/// Throws std::runtime_error.
void check_pnm_head(int file, const PictureLimits &limits);

/// Whether a file that starts so is a PNM in plain text: P1, P2 or P3.
bool is_plain_pnm(std::string_view start);

/// Reads one, of the kind '1', '2' or '3'; libvips takes what is missing, or is no number, for 0.
/// Throws std::runtime_error.
vips::VImage read_plain_pnm(int file, char kind, const PictureLimits &limits);

} // namespace oxel::tools

#endif
