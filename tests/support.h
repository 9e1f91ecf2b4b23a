#ifndef OXEL_TESTS_SUPPORT_H
#define OXEL_TESTS_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using Random = std::mt19937;

inline int random_below(Random &random, int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
}

Bytes random_bytes(Random &random, std::size_t count, int largest = 255);

/// Bytes whose end lies right before an unreadable page.
class GuardedBytes {
  public:
    explicit GuardedBytes(const Bytes &content);
    GuardedBytes(std::size_t size, std::uint8_t fill) : GuardedBytes(Bytes(size, fill)) {}
    GuardedBytes(const GuardedBytes &) = delete;
    GuardedBytes &operator=(const GuardedBytes &) = delete;
    ~GuardedBytes();

    std::uint8_t *get() const { return start_; }
    std::size_t size() const { return size_; }
    Bytes bytes() const { return {start_, start_ + size_}; }

  private:
    void *mapping_;
    std::size_t mapped_;
    std::uint8_t *start_;
    std::size_t size_;
};

inline constexpr std::size_t cell_count = 64 * 64 * 64;

/// A LUT package's content.
struct Tables {
    int colour_number;
    Bytes palette; // 3 bytes an entry
    Bytes codes;
    Bytes gamut = Bytes(3 * cell_count);
    Bytes quantisation = Bytes(cell_count);

    /// Tables in the order that `order` gives (0 palette, 1 codes, 2 gamut, 3 quantisation), with
    /// `gap` bytes before each; the last one ends at the trailer.
    Bytes package(const std::vector<int> &order = {0, 1, 2, 3}, std::size_t gap = 0) const;
};

/// Every table random, quantisation bytes below `colours`.
Tables random_tables(Random &random, int colours);

/// Black and white, split in the middle of the red axis; the gamut is the identity on the
/// cells' lower corners.
Tables two_colour_tables();

void put_u32(Bytes &bytes, std::size_t offset, std::uint32_t value);

/// Makes the trailer right again: CRC-32 bit by bit.
void put_crc(Bytes &package);

/// Adopts a guarded copy of the package that lives until the next call.
void adopt(const Bytes &package);

/// The heap as the library sees it.
struct HeapFaults {
    static inline int fail_after = -1; // allocations that succeed before one fails; -1: all do
    static inline int live = 0;        // allocations not freed yet, since it was last set to 0
};

#endif
