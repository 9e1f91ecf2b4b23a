#include "frames/c_header.h"

#include "frames/file_size.h"
#include "frames/packed.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace oxel::tools {

namespace {

/// Letters that C, and a comment in C, take from any text; others as _.
std::string plain(std::string_view text, std::string_view more) {
    std::string result;
    for (const char c : text) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        const bool known = letter || (c >= '0' && c <= '9') || more.find(c) != more.npos;
        if (known || !result.ends_with('_'))
            result += known ? c : '_';
    }
    return result;
}

/// The array's name. It ends in "frame", so that it is no word of the language, and neither begins
/// with _ nor holds two of them, which C and C++ keep for themselves.
std::string symbol_of(std::string_view path) {
    path.remove_prefix(path.rfind('/') + 1); // nothing without a folder
    for (const std::string_view suffix : {".gz", ".h"})
        if (path.ends_with(suffix))
            path.remove_suffix(suffix.size());
    std::string name = plain(path, "");
    if (name.starts_with('_'))
        name.erase(0, 1);
    if (name.empty() || (name[0] >= '0' && name[0] <= '9'))
        name = name.empty() ? "frame" : "frame_" + name;
    if (!name.ends_with("frame"))
        name += name.ends_with('_') ? "frame" : "_frame";
    return name;
}

std::string upper(std::string name) {
    for (char &c : name)
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    return name;
}

void append_array(std::string &text, const Bytes &bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    text.reserve(text.size() + 6 * bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        text += i % 16 == 0 ? "\n    " : " ";
        text += {'0', 'x', digits[bytes[i] >> 4], digits[bytes[i] & 15], ','};
    }
}

[[noreturn]] void refuse() {
    throw std::runtime_error("is not a header that oxel has written");
}

/// The number behind the first of `key`, which ends where `text` is not one of a number.
std::int32_t number_behind(std::string_view text, std::string_view key) {
    const std::size_t place = text.find(key);
    std::int32_t number = 0;
    if (place == text.npos)
        refuse();
    const char *const start = text.data() + place + key.size();
    if (std::from_chars(start, text.data() + text.size(), number).ec != std::errc())
        refuse();
    return number;
}

} // namespace

Bytes encode_c_header(const FrameImage &frame) {
    const int bits = packed_bits_of(frame.codes);
    const Bytes rows = pack(bits, frame);
    const std::string name = symbol_of(frame.name);
    const std::string prefix = upper(name);
    const auto define = [&](const char *what, std::size_t value) {
        return "#define " + prefix + what + " " + std::to_string(value) + "\n";
    };
    std::string text = "/* A frame for an e-paper panel, " + frame.size.text() + ".\n *\n * " +
                       std::to_string(bits) +
                       " bits a pixel, row after row from the top: the leftmost pixel in the"
                       " highest bits\n * of a row's first byte; what is left of its last byte is"
                       " 0.\n *\n * Code  R   G   B  (measured)\n";
    for (const Code &code : frame.codes) {
        text += " *";
        for (const int number :
             {int{code.code}, int{code.colour[0]}, int{code.colour[1]}, int{code.colour[2]}}) {
            const std::string digits = std::to_string(number);
            text += std::string(4 - digits.size(), ' ') + digits; // at most three
        }
        text += (code.name.empty() ? "" : "  " + plain(code.name, " -.,()")) + "\n";
    }
    text += " */\n#ifndef " + prefix + "_H\n#define " + prefix + "_H\n\n#include <stdint.h>\n\n" +
            define("_WIDTH", static_cast<std::size_t>(frame.size.width)) +
            define("_HEIGHT", static_cast<std::size_t>(frame.size.height)) +
            define("_BITS", static_cast<std::size_t>(bits)) + define("_BYTES", rows.size()) +
            "\nstatic const uint8_t " + name + "[" + prefix + "_BYTES] = {";
    append_array(text, rows);
    text += "\n};\n\n#endif\n";
    return {text.begin(), text.end()};
}

Bytes decode_c_header(std::span<const std::uint8_t> file, const Codes &, ImageSize &size) {
    const std::string_view text(reinterpret_cast<const char *>(file.data()), file.size());
    settle_size({number_behind(text, "FRAME_WIDTH "), number_behind(text, "FRAME_HEIGHT ")}, size);
    const int bits = number_behind(text, "FRAME_BITS ");
    if (bits != 1 && bits != 2 && bits != 4 && bits != 8)
        refuse();
    const std::size_t expected =
        packed_row_bytes(bits, size.width) * static_cast<std::size_t>(size.height);
    Bytes rows;
    for (std::size_t place = text.find('{'); (place = text.find("0x", place)) != text.npos;) {
        const char *const start = text.data() + place + 2;
        std::uint8_t byte = 0;
        const auto read = std::from_chars(start, text.data() + text.size(), byte, 16);
        if (read.ec != std::errc() || rows.size() == expected)
            refuse();
        rows.push_back(byte);
        place = static_cast<std::size_t>(read.ptr - text.data());
    }
    if (rows.size() != expected)
        throw std::runtime_error("has an array of " + std::to_string(rows.size()) +
                                 " bytes instead of " + std::to_string(expected));
    return unpack(bits, rows, size);
}

} // namespace oxel::tools
