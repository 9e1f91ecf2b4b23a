// Renders that bring their panel along: the library adopts it if another one was last.
//
// Python may raise an exception between any two of its instructions, as a signal's handler does. So
// what must not be torn apart (adopting a panel, counting the renders that use it, rendering) is
// one call here, which no exception can leave half done.

#include "Oxel_Morvel6_render.h"

#include <pthread.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <utility>

extern "C" {

/// A LUT package and the number of the panel that it belongs to: not 0, and no other panel's.
struct OxelPackage {
    std::uint64_t panel;
    const std::uint8_t *bytes;
    std::size_t size;
};
}

namespace {

/// What the library has adopted. Any number of renders with that panel run at once; one with
/// another panel waits until they are done and lets no new one start before it.
class Adoption {
  public:
    template <class Render>
    std::int32_t render(const OxelPackage &package, Render call) {
        std::unique_lock turn(entrance_);
        if (panel_ != package.panel)
            if (const std::int32_t status = adopt(package); status != OXEL_SUCCESS)
                return status;
        const std::shared_lock in_use(library_);
        turn.unlock();
        return call();
    }

  private:
    std::int32_t adopt(const OxelPackage &package) {
        if (package.size > INT32_MAX)
            return OXEL_BAD_PACKAGE_LENGTH;
        std::unique_ptr<std::uint8_t[]> copy(new (std::nothrow) std::uint8_t[package.size]);
        if (!copy)
            return OXEL_OUT_OF_MEMORY;
        std::copy_n(package.bytes, package.size, copy.get());

        const std::unique_lock alone(library_);
        const std::int32_t status =
            Oxel_Morvel6_render_init(copy.get(), static_cast<std::uint32_t>(package.size));
        if (status == OXEL_SUCCESS) {
            bytes_ = std::move(copy);
            panel_ = package.panel;
        }
        return status;
    }

    std::mutex entrance_;
    std::shared_mutex library_;
    std::uint64_t panel_ = 0;
    std::unique_ptr<std::uint8_t[]> bytes_; // the library points into them
};

// Never destroyed, as threads may render until the process ends. The child of a fork, which has
// none of the threads that hold locks or adopt a package, starts afresh.
Adoption *const adoption = new Adoption;
[[maybe_unused]] const int at_fork =
    pthread_atfork(nullptr, nullptr, [] { new (adoption) Adoption; });

} // namespace

// Each returns the status of the package's adoption if that fails, else the library's.
extern "C" {

/// Renders a pixel, for the status alone.
std::int32_t oxel_check(const OxelPackage *package) {
    return adoption->render(*package, [] {
        std::uint8_t pixel[3] = {};
        return Oxel_Morvel6_render(pixel, ORDER_RGB, pixel, ORDER_RGB, 1, 1, DITHER_FLOYD,
                                   OUTPUT_TCON_CODE);
    });
}

std::int32_t oxel_render(const OxelPackage *package, const std::uint8_t *input,
                         std::uint8_t *output, std::uint32_t byte_order, std::int32_t width,
                         std::int32_t height, std::uint32_t dithering_mode,
                         std::int32_t output_type) {
    return adoption->render(*package, [=] {
        return Oxel_Morvel6_render(input, byte_order, output, byte_order, width, height,
                                   dithering_mode, output_type);
    });
}

std::int32_t oxel_render_all(const OxelPackage *package, const std::uint8_t *input,
                             std::uint32_t byte_order, std::uint8_t *tcon, std::uint8_t *nominal,
                             std::uint8_t *eo, std::int32_t width, std::int32_t height,
                             std::uint32_t dithering_mode) {
    return adoption->render(*package, [=] {
        return Oxel_Morvel6_render_All(input, byte_order, tcon, nominal, eo, nullptr, width, height,
                                       dithering_mode);
    });
}

std::int32_t oxel_render_guarded(const OxelPackage *package, const std::uint8_t *input,
                                 std::uint8_t *output, std::uint32_t byte_order, std::int32_t width,
                                 std::int32_t height, std::uint32_t dithering_mode,
                                 std::int32_t output_type, double threshold,
                                 std::int32_t *verdict) {
    return adoption->render(*package, [=] {
        return Oxel_Morvel6_render_with_powerGuard(input, byte_order, output, byte_order, width,
                                                   height, dithering_mode, output_type, threshold,
                                                   verdict);
    });
}
}
