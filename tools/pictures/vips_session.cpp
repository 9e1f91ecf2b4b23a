#include "pictures/vips_session.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <sstream>
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
    std::istringstream messages(vips_error_buffer());
    vips_error_clear();
    std::string line;
    for (std::string message; std::getline(messages, message);) {
        // Each begins with the name of what tells it, one word of code.
        const std::size_t word = message.find_first_not_of(
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_");
        if (word != 0 && message.find(": ") == word)
            message.erase(0, word + 2);
        if (line.find(message) == std::string::npos)
            line += (line.empty() ? "" : "; ") + message;
    }
    return line;
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
