#ifndef OXEL_TOOLS_BYTES_H
#define OXEL_TOOLS_BYTES_H

#include <cstdint>
#include <vector>

namespace oxel::tools {

using Bytes = std::vector<std::uint8_t>;

} // namespace oxel::tools

#endif
