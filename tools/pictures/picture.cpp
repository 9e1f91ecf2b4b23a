#include "pictures/picture.h"

#include "pictures/decoder_process.h"

#include <cctype>
#include <filesystem>
#include <set>

namespace oxel::tools {

namespace {

/// The suffix of a file's name in small letters.
std::string suffix_of(const std::string &path) {
    std::string suffix = std::filesystem::path(path).extension();
    for (char &c : suffix)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return suffix;
}

/// Documents are drawn only for those who name them so: their reader is the largest of all.
bool is_document_name(const std::string &path) {
    return suffix_of(path) == ".pdf";
}

PictureFacts ask_facts(const std::string &path, const Framing &framing,
                       const PictureLimits &limits) {
    PictureFacts facts{};
    decode_apart(path, {{}, framing, is_document_name(path)}, limits, facts);
    return facts;
}

} // namespace

bool is_picture_name(const std::string &path) {
    static const std::set<std::string> suffixes = {
        ".avif", ".bmp", ".gif", ".heic", ".heif", ".jfif", ".jp2", ".jpe", ".jpeg", ".jpg", ".jxl",
        ".pbm",  ".pdf", ".pgm", ".png",  ".pnm",  ".ppm",  ".svg", ".tif", ".tiff", ".webp"};
    return suffixes.count(suffix_of(path)) != 0;
}

ImageSize picture_size(const std::string &path, const Framing &framing,
                       const PictureLimits &limits) {
    return ask_facts(path, framing, limits).size;
}

std::string picture_day(const std::string &path, const PictureLimits &limits) {
    return ask_facts(path, {}, limits).taken.data();
}

Light load_picture(const std::string &path, ImageSize size, const Framing &framing,
                   const PictureLimits &limits) {
    PictureFacts facts{};
    return decode_apart(path, {size, framing, is_document_name(path)}, limits, facts);
}

} // namespace oxel::tools
