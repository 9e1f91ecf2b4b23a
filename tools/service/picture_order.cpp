#include "service/picture_order.h"

#include <numeric>
#include <utility>
#include <vector>

namespace oxel::tools {

namespace {

/// Vigna's splitmix64: written down here, so that every service shuffles alike.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t operator()() {
        std::uint64_t z = state_ += 0x9E3779B97F4A7C15;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }

  private:
    std::uint64_t state_;
};

std::int64_t cycle_of(std::int64_t step, std::int64_t count) {
    return step / count - (step % count < 0 ? 1 : 0);
}

/// Before it is seen to that no picture comes twice in a row.
std::vector<std::size_t> shuffled(std::uint64_t seed, const std::string &device, std::int64_t cycle,
                                  std::size_t count) {
    std::uint64_t mixed = seed ^ (static_cast<std::uint64_t>(cycle) * 0x9E3779B97F4A7C15);
    for (const char letter : device)
        mixed = (mixed ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    Random random(mixed);
    std::vector<std::size_t> order(count);
    std::iota(order.begin(), order.end(), std::size_t{0});
    for (std::size_t left = count; left > 1; --left)
        std::swap(order[left - 1], order[random() % left]);
    return order;
}

} // namespace

std::size_t plain_place(std::int64_t step, std::size_t count) {
    const auto length = static_cast<std::int64_t>(count);
    return static_cast<std::size_t>(step - cycle_of(step, length) * length);
}

std::size_t shuffled_place(std::uint64_t seed, const std::string &device, std::int64_t step,
                           std::size_t count) {
    const std::size_t place = plain_place(step, count);
    if (count < 3) // each order but one would show a picture twice in a row
        return place;
    const std::int64_t cycle = cycle_of(step, static_cast<std::int64_t>(count));
    std::vector<std::size_t> order = shuffled(seed, device, cycle, count);
    // The exchange of the first two leaves the last alone, so it needs the cycle before only.
    if (place < 2 && shuffled(seed, device, cycle - 1, count).back() == order.front())
        std::swap(order[0], order[1]);
    return order[place];
}

} // namespace oxel::tools
