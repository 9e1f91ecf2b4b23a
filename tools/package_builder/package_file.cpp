#include "package_builder/package_file.h"

#include <algorithm>

namespace oxel::tools {

namespace {

constexpr std::size_t header_size = 28;
constexpr std::size_t trailer_size = 4;

std::uint32_t read_number(std::span<const std::uint8_t> bytes, std::size_t offset,
                          std::size_t size = 4) {
    std::uint32_t number = 0;
    for (std::size_t i = size; i-- > 0;)
        number = number << 8 | bytes[offset + i];
    return number;
}

void append_number(std::vector<std::uint8_t> &bytes, std::size_t number, std::size_t size = 4) {
    for (; size-- > 0; number >>= 8)
        bytes.push_back(static_cast<std::uint8_t>(number & 0xFF));
}

/// Of IEEE 802.3, for each byte: entries of the cache are checked before every render.
constexpr std::array<std::uint32_t, 256> crc_table = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320U : 0U);
        table[byte] = crc;
    }
    return table;
}();

std::uint32_t crc32(std::span<const std::uint8_t> bytes) {
    std::uint32_t crc = ~0U;
    for (const std::uint8_t byte : bytes)
        crc = crc >> 8 ^ crc_table[(crc ^ byte) & 0xFF];
    return ~crc;
}

} // namespace

std::optional<PackageFields> read_package_fields(std::span<const std::uint8_t> package) {
    if (package.size() < header_size)
        return std::nullopt;
    PackageFields fields{};
    std::copy_n(package.begin(), fields.producer.size(), fields.producer.begin());
    fields.length = read_number(package, 6);
    fields.colours = static_cast<std::uint16_t>(read_number(package, 10, 2));
    fields.palette = read_number(package, 12);
    fields.tcon = read_number(package, 16);
    fields.gamut = read_number(package, 20);
    fields.quantisation = read_number(package, 24);
    fields.crc = read_number(package, package.size() - trailer_size);
    return fields;
}

std::uint32_t package_crc(std::span<const std::uint8_t> package) {
    return crc32(package.first(package.size() - trailer_size));
}

std::span<const std::uint8_t> package_table(std::span<const std::uint8_t> package,
                                            std::uint64_t offset, std::size_t size) {
    if (package.size() < header_size + trailer_size)
        return {};
    const std::size_t end = package.size() - trailer_size;
    if (offset < header_size || offset > end || size > end - offset)
        return {};
    return package.subspan(offset, size);
}

std::vector<std::uint8_t> write_package(const ProducerBytes &producer,
                                        std::span<const std::uint8_t> palette,
                                        std::span<const std::uint8_t> tcon,
                                        std::span<const std::uint8_t> gamut,
                                        std::span<const std::uint8_t> quantisation) {
    const std::span<const std::uint8_t> tables[] = {palette, tcon, gamut, quantisation};
    std::size_t length = header_size + trailer_size;
    for (const auto &table : tables)
        length += table.size();

    std::vector<std::uint8_t> package(producer.begin(), producer.end());
    append_number(package, length);
    append_number(package, tcon.size(), 2);
    std::size_t offset = header_size;
    for (const auto &table : tables) {
        append_number(package, offset);
        offset += table.size();
    }
    for (const auto &table : tables)
        package.insert(package.end(), table.begin(), table.end());
    append_number(package, crc32(package));
    return package;
}

} // namespace oxel::tools
