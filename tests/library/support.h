#ifndef OXEL_TESTS_SUPPORT_H
#define OXEL_TESTS_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using Random = std::mt19937;

int random_below(Random &random, int limit);
Bytes random_bytes(Random &random, std::size_t count, int largest = 255);

/// The rows of worked/NAME.txt, split at blanks.
std::vector<std::vector<std::string>> worked(const std::string &name);

/// Bytes between unreadable pages, right before one or right behind one.
class GuardedBytes {
  public:
    /// Whether those that this thread makes have their start guarded, not their end.
    static inline thread_local bool guards_start = false;

    explicit GuardedBytes(const Bytes &content);
    GuardedBytes(const GuardedBytes &) = delete;
    GuardedBytes &operator=(const GuardedBytes &) = delete;
    ~GuardedBytes();

    std::uint8_t *get() const { return bytes_; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(size_); }
    Bytes bytes() const { return {bytes_, bytes_ + size_}; }

  private:
    std::size_t size_;
    std::size_t mapped_;
    std::uint8_t *mapping_, *bytes_;
};

inline constexpr std::size_t cell_count = 64 * 64 * 64;

/// A LUT package's content.
struct Tables {
    Bytes palette; // 3 bytes an entry
    Bytes codes;
    Bytes gamut = Bytes(3 * cell_count);
    Bytes quantisation = Bytes(cell_count);

    /// A package of tables in the order that `order` gives (0 palette, 1 codes, 2 gamut, 3
    /// quantisation), with `gap` bytes before each; the last one ends at the trailer.
    Bytes package(const std::vector<int> &order = {0, 1, 2, 3}, std::size_t gap = 0) const;
};

/// Every table random, quantisation bytes below `colours`.
Tables random_tables(Random &random, int colours);

/// Tables that a builder would make: each cell goes to the nearest colour.
Tables nearest_tables(Random &random, int colours);

/// Calls `test` with each form that runs here forced, once with the ends of buffers guarded and
/// once with their starts, and stops at the first failure.
void for_each_form(const std::function<void()> &test);

void put_u32(Bytes &bytes, std::size_t offset, std::uint32_t value);

/// Makes the trailer right again, bit by bit.
void put_crc(Bytes &package);

/// Adopts a guarded copy of the package, which lives until the next call.
void adopt(const Bytes &package);

#endif
