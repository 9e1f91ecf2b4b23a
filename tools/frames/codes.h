#ifndef OXEL_TOOLS_CODES_H
#define OXEL_TOOLS_CODES_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace oxel::tools {

/// A code of a panel, and what it shows.
struct Code {
    std::uint8_t code;
    std::array<std::uint8_t, 3> colour; // measured, R, G, B
    std::string name;                   // "" if nobody tells
};

/// The codes of a panel, each once, in the order of its palette.
using Codes = std::vector<Code>;

/// The bits that the largest code needs, 1 to 8.
int bits_of(const Codes &codes);

/// The colours of the codes 0, 1, ... up to the largest, black where there is no such code.
std::vector<std::array<std::uint8_t, 3>> colour_table(const Codes &codes);

} // namespace oxel::tools

#endif
