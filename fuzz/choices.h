#ifndef OXEL_FUZZ_CHOICES_H
#define OXEL_FUZZ_CHOICES_H

#include <cstdint>
#include <span>

/// Takes decisions from the bytes of a fuzzer; zeros when they are used up.
class Choices {
  public:
    explicit Choices(std::span<const std::uint8_t> bytes) : rest(bytes) {}

    std::uint8_t byte() {
        if (rest.empty())
            return 0;
        const std::uint8_t first = rest.front();
        rest = rest.subspan(1);
        return first;
    }
    std::uint32_t number() {
        std::uint32_t number = byte();
        for (int shift = 8; shift < 32; shift += 8)
            number |= std::uint32_t{byte()} << shift;
        return number;
    }
    bool flag() { return byte() & 1; }
    /// Mostly near the values that mean something.
    std::uint32_t selector() {
        const std::uint8_t choice = byte();
        return choice < 250 ? choice % 8U : number();
    }
    std::int32_t dimension() {
        const std::uint8_t choice = byte();
        return choice < 200   ? choice % 60 - 2
               : choice < 240 ? 40 * (choice - 195) // wider than a segment
                              : static_cast<std::int32_t>(number());
    }

    std::span<const std::uint8_t> rest;
};

#endif
