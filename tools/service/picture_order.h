#ifndef OXEL_TOOLS_PICTURE_ORDER_H
#define OXEL_TOOLS_PICTURE_ORDER_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace oxel::tools {

/// In which order an album is shown.
enum class Order { newest, name, shuffled };

/// Which of `count` pictures is shown at this step, if the order is shuffled: in each cycle of
/// `count` steps each of them once, another order each time, and none twice in a row. Steps may be
/// negative.
std::size_t shuffled_place(std::uint64_t seed, const std::string &device, std::int64_t step,
                           std::size_t count);

/// The same in the order that they are in.
std::size_t plain_place(std::int64_t step, std::size_t count);

} // namespace oxel::tools

#endif
