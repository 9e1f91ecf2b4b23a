#include "service/site_file.h"

#include <algorithm>
#include <cctype>
#include <fcntl.h>
#include <map>
#include <sys/stat.h>

namespace oxel::tools {

std::optional<SiteFile> open_site_file(const std::string &site,
                                       const std::vector<std::string> &path) {
    Descriptor place(open(site.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto go_to = [&](const std::string &name) {
        place = place && !name.starts_with('.')
                    ? Descriptor(openat(place.get(), name.c_str(),
                                        O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC))
                    : Descriptor();
    };
    for (const std::string &part : path)
        go_to(part);
    struct stat status{};
    bool is_index = false;
    if (place && fstat(place.get(), &status) == 0 && S_ISDIR(status.st_mode)) {
        is_index = true;
        go_to("index.html");
    }
    if (!place || fstat(place.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    return SiteFile{{std::move(place), static_cast<std::uint64_t>(status.st_size)},
                    std::to_string(status.st_size) + ":" + std::to_string(status.st_mtim.tv_sec) +
                        ":" + std::to_string(status.st_mtim.tv_nsec),
                    is_index};
}

std::string type_of_file(const std::string &name) {
    static const std::map<std::string, std::string> types = {
        {"avif", "image/avif"},
        {"bmp", "image/bmp"},
        {"css", "text/css; charset=utf-8"},
        {"gif", "image/gif"},
        {"heic", "image/heic"},
        {"heif", "image/heif"},
        {"html", "text/html; charset=utf-8"},
        {"ico", "image/x-icon"},
        {"jfif", "image/jpeg"},
        {"jpe", "image/jpeg"},
        {"jpeg", "image/jpeg"},
        {"jpg", "image/jpeg"},
        {"js", "text/javascript; charset=utf-8"},
        {"json", "application/json"},
        {"jxl", "image/jxl"},
        {"mjs", "text/javascript; charset=utf-8"},
        {"png", "image/png"},
        {"svg", "image/svg+xml"},
        {"tif", "image/tiff"},
        {"tiff", "image/tiff"},
        {"wasm", "application/wasm"},
        {"webmanifest", "application/manifest+json"},
        {"webp", "image/webp"},
        {"woff2", "font/woff2"},
    };
    std::string suffix = name.substr(name.rfind('.') + 1);
    for (char &c : suffix)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const auto type = types.find(suffix);
    return type == types.end() ? "application/octet-stream" : type->second;
}

} // namespace oxel::tools
