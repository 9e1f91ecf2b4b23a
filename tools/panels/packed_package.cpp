#include "panels/packed_package.h"

#include <zlib.h>

#include <stdexcept>

namespace oxel::tools {

namespace {

constexpr std::size_t stride = 3; // a channel's next byte

} // namespace

Bytes pack_package(Bytes package) {
    for (std::size_t i = package.size(); i-- > stride;)
        package[i] = static_cast<std::uint8_t>(package[i] - package[i - stride]);
    uLongf size = compressBound(uLong(package.size()));
    Bytes packed(size);
    if (compress2(packed.data(), &size, package.data(), uLong(package.size()),
                  Z_BEST_COMPRESSION) != Z_OK)
        throw std::runtime_error("a package cannot be packed");
    packed.resize(size);
    return packed;
}

Bytes unpack_package(std::string_view packed, std::size_t size) {
    Bytes package(size);
    uLongf length = uLong(size);
    if (uncompress(package.data(), &length, reinterpret_cast<const Bytef *>(packed.data()),
                   uLong(packed.size())) != Z_OK ||
        length != size)
        throw std::runtime_error("a built-in package is damaged");
    for (std::size_t i = stride; i < size; ++i)
        package[i] = static_cast<std::uint8_t>(package[i] + package[i - stride]);
    return package;
}

} // namespace oxel::tools
