#ifndef OXEL_TOOLS_TIME_ZONE_H
#define OXEL_TOOLS_TIME_ZONE_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace oxel::tools {

/// Seconds since 1970 in UTC.
using Moment = std::int64_t;

constexpr int seconds_a_day = 86400;

/// The civil time of a place. Its days are counted from 1 January 2024, and the first of them
/// stands for all before, the last, in 2100, for all behind it.
class TimeZone {
  public:
    /// A zone of the system's database: "Europe/Berlin". Throws std::runtime_error.
    static std::shared_ptr<const TimeZone> named(const std::string &name);

    std::int64_t day_of(Moment moment) const;

    /// The first moment of a day.
    Moment midnight(std::int64_t day) const { return midnights_[static_cast<std::size_t>(day)]; }

    /// When the clocks show this time: the first time if they do so twice; where they jump over it,
    /// when they jump.
    Moment moment(std::int64_t day, int second) const;

    /// What the clocks show.
    int second_of_day(Moment moment) const;

    /// The days that are longer or shorter than others.
    const std::vector<std::int64_t> &odd_days() const { return odd_days_; }

    std::int64_t last_day() const { return static_cast<std::int64_t>(midnights_.size()) - 2; }

    ~TimeZone();
    TimeZone(const TimeZone &) = delete;
    TimeZone &operator=(const TimeZone &) = delete;

  private:
    explicit TimeZone(const std::string &name);

    void *zone_; // GLib's
    std::vector<Moment> midnights_;
    std::vector<std::int64_t> odd_days_;
};

} // namespace oxel::tools

#endif
