#ifndef OXEL_TOOLS_VIPS_SESSION_H
#define OXEL_TOOLS_VIPS_SESSION_H

#include "base/files.h"
#include "base/image_size.h"

#include <vips/vips8>

#include <span>
#include <string>

namespace oxel::tools {

void start_vips();

/// How often libvips painted something black because it could not decode it, which it does not
/// always report as an error.
unsigned vips_losses();

/// Takes the messages that libvips has collected, on one line.
std::string take_vips_messages();

/// An image over the memory of `rgb`.
vips::VImage image_of(std::span<const std::uint8_t> rgb, ImageSize size);

/// Takes over memory that libvips has allocated.
Bytes take_vips_memory(void *memory, std::size_t size);

} // namespace oxel::tools

#endif
