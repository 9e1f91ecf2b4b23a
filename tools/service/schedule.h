#ifndef OXEL_TOOLS_SCHEDULE_H
#define OXEL_TOOLS_SCHEDULE_H

#include "service/time_zone.h"

#include <optional>
#include <utility>
#include <vector>

namespace oxel::tools {

/// When a device's frame changes.
struct ScheduleRules {
    int interval = 0;       // seconds from midnight on; 0: `times`
    std::vector<int> times; // seconds of the day
    /// From this second of the day up to that one, also over midnight, nothing changes.
    std::optional<std::pair<int, int>> quiet;
    std::string zone = "UTC";

    auto operator<=>(const ScheduleRules &) const = default;
};

/// The time between two changes.
struct Slot {
    std::int64_t number; // since 2024, none left out
    Moment begin;
    Moment end;
};

/// Slots follow from the rules and the time alone, so that all services count alike.
class Schedule {
  public:
    /// Throws std::runtime_error if the zone is unknown or nothing would ever change.
    explicit Schedule(const ScheduleRules &rules);

    /// The slot that a moment lies in. The time before the first slot belongs to it.
    Slot slot_at(Moment now) const;

  private:
    std::vector<int> changes(std::int64_t day) const; // in seconds since the day began
    std::vector<int> find_changes(std::int64_t day) const;
    bool is_odd(std::int64_t day) const;
    std::int64_t slots_before(std::int64_t day) const;

    ScheduleRules rules_;
    std::shared_ptr<const TimeZone> zone_;
    std::vector<int> plain_;             // the changes of all days but the odd ones
    std::vector<std::int64_t> odd_sums_; // changes of the odd days before each odd day
};

} // namespace oxel::tools

#endif
