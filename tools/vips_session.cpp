#include "vips_session.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <string_view>

namespace oxel::tools {

using vips::VImage;

namespace {

std::atomic<unsigned> losses = 0; // counted by workers of libvips

void on_warning(const char *, GLogLevelFlags, const char *message, void *) {
    if (std::string_view(message).starts_with("error in tile"))
        ++losses;
}

} // namespace

void start_vips() {
    struct Session {
        Session() {
            if (VIPS_INIT("oxel") != 0)
                throw vips::VError();
            vips_cache_set_max(0); // no picture is opened twice
            g_log_set_handler("VIPS", G_LOG_LEVEL_WARNING, on_warning, nullptr);
        }
        ~Session() { vips_shutdown(); }
    };
    static const Session session;
}

void share_processors(int threads) {
    start_vips();
    vips_concurrency_set(std::max(1, vips_concurrency_get() / threads));
}

std::shared_mutex &vips_users() {
    static std::shared_mutex users;
    return users;
}

unsigned vips_losses() {
    return losses;
}

std::string take_vips_messages() {
    std::string line;
    for (const char c : std::string_view(vips_error_buffer()))
        if (c != '\n')
            line += c;
        else if (!line.empty())
            line += "; ";
    vips_error_clear();
    return line.substr(0, line.find_last_not_of("; ") + 1);
}

VImage image_of(const Bytes &rgb, ImageSize size) {
    return VImage::new_from_memory(const_cast<std::uint8_t *>(rgb.data()), rgb.size(), size.width,
                                   size.height, 3, VIPS_FORMAT_UCHAR)
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

Bytes to_png(const VImage &image) {
    void *memory = nullptr;
    std::size_t count = 0;
    image.write_to_buffer(".png", &memory, &count);
    return take_vips_memory(memory, count);
}

Bytes take_vips_memory(void *memory, std::size_t size) {
    const std::unique_ptr<void, decltype(&g_free)> owner(memory, g_free);
    const auto *bytes = static_cast<const std::uint8_t *>(memory);
    return {bytes, bytes + size};
}

} // namespace oxel::tools
