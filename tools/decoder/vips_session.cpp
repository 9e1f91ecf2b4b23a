#include "decoder/vips_session.h"

#include "pictures/picture_threads.h"

#include <atomic>
#include <iostream>
#include <memory>
#include <sstream>
#include <string_view>

namespace oxel::tools {

using vips::VImage;

namespace {

std::atomic<unsigned> losses = 0; // counted by workers of libvips

/// Nothing of the libraries' talk reaches the terminal. What they cannot go on without is memory.
GLogWriterOutput on_message(GLogLevelFlags level, const GLogField *fields, gsize count, void *) {
    const auto field = [&](std::string_view key) {
        for (gsize i = 0; i < count; ++i)
            if (fields[i].key == key && fields[i].length < 0)
                return std::string_view(static_cast<const char *>(fields[i].value));
        return std::string_view();
    };
    if (field("GLIB_DOMAIN") == "VIPS" && field("MESSAGE").starts_with("error in tile"))
        ++losses;
    if (level & G_LOG_LEVEL_ERROR) // which ends the process
        std::cerr << field("MESSAGE") << std::endl;
    return G_LOG_WRITER_HANDLED;
}

} // namespace

void start_vips() {
    struct Session {
        Session() {
            g_log_set_writer_func(on_message, nullptr, nullptr);
            if (VIPS_INIT("oxel") != 0)
                throw vips::VError();
            vips_cache_set_max(0); // no picture is opened twice
            vips_concurrency_set(picture_threads());
        }
        ~Session() { vips_shutdown(); }
    };
    static const Session session;
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
    return line.empty() ? "libvips gives no reason" : line;
}

VImage image_of(std::span<const std::uint8_t> rgb, ImageSize size) {
    return VImage::new_from_memory(const_cast<std::uint8_t *>(rgb.data()), rgb.size(), size.width,
                                   size.height, 3, VIPS_FORMAT_UCHAR)
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

Bytes take_vips_memory(void *memory, std::size_t size) {
    const std::unique_ptr<void, decltype(&g_free)> owner(memory, g_free);
    const auto *bytes = static_cast<const std::uint8_t *>(memory);
    return {bytes, bytes + size};
}

} // namespace oxel::tools
