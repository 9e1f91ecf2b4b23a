#include "service/schedule.h"

#include <algorithm>
#include <stdexcept>

namespace oxel::tools {

namespace {

bool is_quiet(const ScheduleRules &rules, int second) {
    if (!rules.quiet)
        return false;
    const auto [from, to] = *rules.quiet;
    return from <= to ? second >= from && second < to : second >= from || second < to;
}

} // namespace

Schedule::Schedule(const ScheduleRules &rules) : rules_(rules), zone_(TimeZone::named(rules.zone)) {
    const std::vector<std::int64_t> &odd = zone_->odd_days();
    std::int64_t plain = 0;
    while (std::binary_search(odd.begin(), odd.end(), plain))
        ++plain;
    plain_ = find_changes(plain);
    if (plain_.empty())
        throw std::runtime_error("the quiet hours leave no time at which the frame changes");
    std::int64_t sum = 0;
    for (const std::int64_t day : odd) {
        odd_sums_.push_back(sum);
        sum += static_cast<std::int64_t>(find_changes(day).size());
    }
    odd_sums_.push_back(sum);
}

/// Where the clocks jump, several times of the day may come at once: they are one change.
std::vector<int> Schedule::find_changes(std::int64_t day) const {
    const Moment midnight = zone_->midnight(day);
    const int length = static_cast<int>(zone_->midnight(day + 1) - midnight);
    std::vector<int> found;
    const auto second_at = [&](int time) {
        return time < seconds_a_day ? static_cast<int>(zone_->moment(day, time) - midnight)
                                    : length;
    };
    if (rules_.interval > 0)
        for (int time = 0; time < seconds_a_day; time += rules_.interval) {
            found.push_back(second_at(time));
            // An hour that the clocks show twice has its changes twice.
            const int last = second_at(time + rules_.interval) - rules_.interval;
            while (found.back() + rules_.interval <= last)
                found.push_back(found.back() + rules_.interval);
        }
    for (const int time : rules_.times)
        found.push_back(static_cast<int>(zone_->moment(day, time) - midnight));
    std::erase_if(found, [&](int second) {
        return is_quiet(rules_, zone_->second_of_day(midnight + second));
    });
    std::sort(found.begin(), found.end());
    found.erase(std::unique(found.begin(), found.end()), found.end());
    return found;
}

bool Schedule::is_odd(std::int64_t day) const {
    return std::binary_search(zone_->odd_days().begin(), zone_->odd_days().end(), day);
}

std::vector<int> Schedule::changes(std::int64_t day) const {
    return is_odd(day) ? find_changes(day) : plain_;
}

std::int64_t Schedule::slots_before(std::int64_t day) const {
    const std::vector<std::int64_t> &odd = zone_->odd_days();
    const auto before = std::lower_bound(odd.begin(), odd.end(), day) - odd.begin();
    return (day - before) * static_cast<std::int64_t>(plain_.size()) +
           odd_sums_[static_cast<std::size_t>(before)];
}

Slot Schedule::slot_at(Moment now) const {
    const std::int64_t last = zone_->last_day() - 1; // behind which there is another
    now = std::clamp(now, zone_->midnight(0), zone_->midnight(last) - 1);
    std::int64_t day = zone_->day_of(now);
    std::vector<int> list = changes(day);
    const auto next =
        std::upper_bound(list.begin(), list.end(), now - zone_->midnight(day)) - list.begin();
    Slot slot{slots_before(day) + next - 1, 0, 0};
    const auto at = [&](std::int64_t place) {
        return zone_->midnight(day) + list[static_cast<std::size_t>(place)];
    };
    const std::int64_t today = day;
    if (next < static_cast<std::int64_t>(list.size())) {
        slot.end = at(next);
    } else {
        do
            list = changes(++day);
        while (list.empty());
        slot.end = at(0);
        list = changes(day = today);
    }
    if (next > 0) {
        slot.begin = at(next - 1);
    } else {
        do {
            if (day == 0)
                return slot_at(slot.end);
            list = changes(--day);
        } while (list.empty());
        slot.begin = at(static_cast<std::int64_t>(list.size()) - 1);
    }
    return slot;
}

} // namespace oxel::tools
