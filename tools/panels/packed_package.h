#ifndef OXEL_TOOLS_PACKED_PACKAGE_H
#define OXEL_TOOLS_PACKED_PACKAGE_H

#include "base/files.h"

#include <string_view>

namespace oxel::tools {

/// A package for the inside of the program, at about a seventh of its size: neighbouring cells
/// differ little, so the differences to the bytes three before are deflated.
Bytes pack_package(Bytes package);

/// The package again. Throws std::runtime_error if `packed` is not one of `size` bytes.
Bytes unpack_package(std::string_view packed, std::size_t size);

} // namespace oxel::tools

#endif
