#ifndef OXEL_TOOLS_PACKAGE_FILE_H
#define OXEL_TOOLS_PACKAGE_FILE_H

#include "package_builder/cells.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace oxel::tools {

/// What the library never reads: the builder's own notes.
using ProducerBytes = std::array<std::uint8_t, 6>;

/// A LUT package's header and trailer, as they stand in the bytes: nothing in them is checked.
struct PackageFields {
    ProducerBytes producer;
    std::uint32_t length;
    std::uint16_t colours;
    std::uint32_t palette; // offsets
    std::uint32_t tcon;
    std::uint32_t gamut;
    std::uint32_t quantisation;
    std::uint32_t crc;
};

/// Nothing if the bytes are too few for a header.
std::optional<PackageFields> read_package_fields(std::span<const std::uint8_t> package);

/// The CRC-32 (IEEE 802.3) that the trailer of the package should hold.
std::uint32_t package_crc(std::span<const std::uint8_t> package);

/// `size` bytes from `offset`, or nothing if they do not lie between header and trailer.
std::span<const std::uint8_t> package_table(std::span<const std::uint8_t> package,
                                            std::uint64_t offset, std::size_t size);

/// Puts the four tables together: 3 bytes a colour, 1 byte a colour, 3 and 1 bytes a cell.
std::vector<std::uint8_t> write_package(const ProducerBytes &producer,
                                        std::span<const std::uint8_t> palette,
                                        std::span<const std::uint8_t> tcon,
                                        std::span<const std::uint8_t> gamut,
                                        std::span<const std::uint8_t> quantisation);

} // namespace oxel::tools

#endif
