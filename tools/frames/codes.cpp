#include "frames/codes.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace oxel::tools {

int bits_of(const Codes &codes) {
    int bits = 1;
    for (const Code &code : codes)
        bits = std::max(bits, static_cast<int>(std::bit_width(code.code)));
    return bits;
}

std::vector<std::array<std::uint8_t, 3>> colour_table(const Codes &codes) {
    std::vector<std::array<std::uint8_t, 3>> table;
    for (const Code &code : codes) {
        if (table.size() <= code.code)
            table.resize(std::size_t{code.code} + 1);
        table[code.code] = code.colour;
    }
    return table;
}

} // namespace oxel::tools
