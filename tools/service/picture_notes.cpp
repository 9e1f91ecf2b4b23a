#include "service/picture_notes.h"

#include "base/failure.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace oxel::tools {

using nlohmann::json;

namespace {

constexpr std::size_t most_bytes = std::size_t{1} << 20;

std::string notes_name(const std::string &name) {
    return last_part(name) + ".oxel.json";
}

std::optional<Crop> crop_of(const json &value) {
    if (!value.is_array() || value.size() != 4)
        return std::nullopt;
    Crop crop{};
    for (std::size_t i = 0; i < 4; ++i) {
        if (!value[i].is_number())
            return std::nullopt;
        crop[i] = value[i].get<double>();
        if (!std::isfinite(crop[i]) || crop[i] < 0 || crop[i] > 1)
            return std::nullopt;
    }
    const auto &[x, y, width, height] = crop;
    constexpr double slack = 1e-6; // of what was rounded on its way
    if (width < 0.001 || height < 0.001 || x + width > 1 + slack || y + height > 1 + slack)
        return std::nullopt;
    return Crop{x, y, std::min(width, 1 - x), std::min(height, 1 - y)};
}

/// Without what lies deeper than any notes do: it would be written back level by level.
json parse(std::string_view text) {
    constexpr int most_levels = 8;
    return json::parse(
        text, [](int level, json::parse_event_t, json &) { return level <= most_levels; }, false);
}

json read_notes(const Descriptor &folder, const std::string &name) {
    json notes = parse(read_beside(folder, notes_name(name), most_bytes));
    return notes.is_object() ? notes : json::object();
}

} // namespace

Crops read_crops(const Descriptor &folder, const std::string &name) {
    Crops crops;
    const json notes = read_notes(folder, name);
    if (const auto found = notes.find("crops"); found != notes.end() && found->is_object())
        for (const auto &[device, value] : found->items())
            if (const auto crop = crop_of(value))
                crops[device] = *crop;
    return crops;
}

void write_crop(const Album &album, const std::string &name, const std::string &device,
                const std::optional<Crop> &crop) {
    album.open(name); // there must be such a picture
    const Descriptor folder = album.open_folder_of(name);
    // Other services on this machine may be at it, too.
    flock(folder.get(), LOCK_EX);
    struct stat status{};
    if (fstatat(folder.get(), notes_name(name).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        !S_ISREG(status.st_mode))
        throw Failure(name, "what is in its crop's place is no file");
    json notes = read_notes(folder, name); // with what others have noted in it
    if (!notes["crops"].is_object())
        notes["crops"] = json::object();
    if (crop)
        notes["crops"][device] = *crop;
    else
        notes["crops"].erase(device);
    const std::string text = notes.dump(1, ' ', true, json::error_handler_t::replace) + "\n";
    try {
        OutputFiles files;
        files.write("/proc/self/fd/" + std::to_string(folder.get()) + "/" + notes_name(name),
                    std::span(reinterpret_cast<const std::uint8_t *>(text.data()), text.size()));
        files.publish();
    } catch (const Failure &failure) {
        throw Failure(name, "its crop cannot be kept beside it: " + failure.reason());
    }
}

std::optional<Crop> parse_crop(std::string_view text) {
    const json value = parse(text);
    if (!value.is_object() || value.size() != 1 || !value.contains("crop"))
        return std::nullopt;
    return crop_of(value["crop"]);
}

std::string json_of_crops(const Crops &crops) {
    json object = json::object();
    for (const auto &[device, crop] : crops)
        object[device] = crop;
    return object.dump();
}

} // namespace oxel::tools
