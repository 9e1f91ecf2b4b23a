#include "base/failure.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace oxel::tools {

namespace {

/// The bytes of the character that `text` begins with, and which one it is; 0 bytes if it is none.
std::size_t first_character(std::string_view text, std::uint32_t &character) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const std::size_t count = byte(0) < 0x80                      ? 1
                              : byte(0) >= 0xC2 && byte(0) < 0xE0 ? 2
                              : byte(0) >= 0xE0 && byte(0) < 0xF0 ? 3
                              : byte(0) >= 0xF0 && byte(0) < 0xF5 ? 4
                                                                  : 0;
    if (count == 0 || count > text.size())
        return 0;
    character = count == 1 ? byte(0) : byte(0) & (0x7FU >> count);
    for (std::size_t i = 1; i < count; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
        character = character << 6 | (byte(i) & 0x3FU);
    }
    static constexpr std::uint32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = character >= 0xD800 && character < 0xE000;
    return character < least[count] || surrogate || character > 0x10FFFF ? 0 : count;
}

bool steers(std::uint32_t c) {
    struct Range {
        std::uint32_t first;
        std::uint32_t last;
    };
    static constexpr Range ranges[] = {
        {0x00, 0x1F},     {0x7F, 0x9F},     // control characters
        {0x61C, 0x61C},   {0x200E, 0x200F}, // marks of direction
        {0x202A, 0x202E}, {0x2066, 0x2069}, //
        {0x2028, 0x2029},                   // ends of lines and paragraphs
        {0x200B, 0x200D}, {0xFEFF, 0xFEFF}, // characters without width
        {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F},
    };
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [c](Range range) { return c >= range.first && c <= range.last; });
}

std::string escaped(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        std::uint32_t character = 0;
        const std::size_t known = first_character(text, character);
        const std::size_t count = std::max<std::size_t>(known, 1);
        for (const char c : text.substr(0, count))
            if (known > 0 && !steers(character)) {
                line += c;
            } else {
                char escape[5];
                std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(c));
                line += escape;
            }
        text.remove_prefix(count);
    }
    return line;
}

} // namespace

std::string printable(std::string_view text) {
    // What matters stands at the start, the name, and at the end, the reason. Names are shorter.
    constexpr std::size_t start = 5000;
    constexpr std::size_t end = 1000;
    if (text.size() <= start + end)
        return escaped(text);
    return escaped(text.substr(0, start)) + " ... " + escaped(text.substr(text.size() - end));
}

} // namespace oxel::tools
