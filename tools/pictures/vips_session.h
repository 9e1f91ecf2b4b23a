#ifndef OXEL_TOOLS_VIPS_SESSION_H
#define OXEL_TOOLS_VIPS_SESSION_H

#include "base/failure.h"
#include "base/files.h"
#include "base/image_size.h"

#include <vips/vips8>

#include <mutex>
#include <shared_mutex>
#include <string>

namespace oxel::tools {

void start_vips();

/// Tells libvips that so many threads will use it at once.
void share_processors(int threads);

/// Held by all that work with libvips.
std::shared_mutex &vips_users();

/// How often libvips painted something black because it could not decode it, which it does not
/// always report as an error.
unsigned vips_losses();

/// Takes the messages that libvips has collected, on one line.
std::string take_vips_messages();

/// An image over the memory of `rgb`.
vips::VImage image_of(const Bytes &rgb, ImageSize size);

Bytes to_png(const vips::VImage &image);

/// Takes over memory that libvips has allocated.
Bytes take_vips_memory(void *memory, std::size_t size);

/// Calls `work`, and throws vips::VError also for pixels lost without an error.
template <class Work>
auto without_losses(Work work) {
    const unsigned before = vips_losses();
    auto result = work();
    if (vips_losses() != before)
        throw vips::VError();
    return result;
}

/// Calls `work`, with libvips running, and blames `path` for its errors. Any number of threads may
/// do so at once; `work` may be called twice.
template <class Work>
auto with_vips(const std::string &path, Work work) {
    start_vips();
    try {
        const std::shared_lock together(vips_users());
        return without_losses(work);
    } catch (const vips::VError &) {
        // libvips collects the losses and messages of all threads in one place: whose they are
        // shows when nobody else works.
    }
    const std::unique_lock alone(vips_users());
    take_vips_messages();
    try {
        return without_losses(work);
    } catch (const vips::VError &) {
        const std::string messages = take_vips_messages();
        throw Failure(path, messages.empty() ? "libvips gives no reason" : messages);
    }
}

} // namespace oxel::tools

#endif
