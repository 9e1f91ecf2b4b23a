#include "same_bytes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace oxel::tools {

bool same_bytes(std::span<const std::uint8_t> one, std::span<const std::uint8_t> other) {
    if (one.size() != other.size())
        return false;
    constexpr std::size_t step = 32;
    std::size_t done = 0;
    for (; done + step <= one.size(); done += step) {
        std::uint64_t words[2][step / 8];
        std::memcpy(words[0], &one[done], step);
        std::memcpy(words[1], &other[done], step);
        std::uint64_t differing = 0;
        for (std::size_t i = 0; i < step / 8; ++i)
            differing |= words[0][i] ^ words[1][i];
        if (differing != 0)
            return false;
    }
    return std::equal(one.begin() + static_cast<std::ptrdiff_t>(done), one.end(),
                      other.begin() + static_cast<std::ptrdiff_t>(done));
}

} // namespace oxel::tools
