#ifndef OXEL_TOOLS_VIPS_SESSION_H
#define OXEL_TOOLS_VIPS_SESSION_H

#include "base/failure.h"
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

Bytes to_png(const vips::VImage &image);

/// Takes over memory that libvips has allocated.
Bytes take_vips_memory(void *memory, std::size_t size);

/// Calls `work`, with libvips running, and blames `path` for its errors. Any number of threads may
/// do so at once; only pictures of our own are worked on so.
template <class Work>
auto with_vips(const std::string &path, Work work) {
    start_vips();
    try {
        return work();
    } catch (const vips::VError &) {
        throw Failure(path, take_vips_messages());
    }
}

} // namespace oxel::tools

#endif
