#include "service/time_zone.h"

#include <glib.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <stdexcept>

namespace oxel::tools {

namespace {

constexpr std::int64_t first_day = 19723; // 1 January 2024, in days since 1970
constexpr std::int64_t days = 28124;      // to the end of 2100

GTimeZone *glib(void *zone) {
    return static_cast<GTimeZone *>(zone);
}

} // namespace

std::shared_ptr<const TimeZone> TimeZone::named(const std::string &name) {
    static std::mutex mutex;
    static std::map<std::string, std::shared_ptr<const TimeZone>> known;
    const std::lock_guard lock(mutex);
    std::shared_ptr<const TimeZone> &zone = known[name];
    if (!zone)
        zone.reset(new TimeZone(name));
    return zone;
}

TimeZone::TimeZone(const std::string &name) : zone_(g_time_zone_new_identifier(name.c_str())) {
    if (!zone_ || name.empty())
        throw std::runtime_error("unknown time zone " + name +
                                 ": the zones are those of /usr/share/zoneinfo");
    for (std::int64_t day = 0; day <= days + 1; ++day)
        midnights_.push_back(moment(day, 0));
    for (std::int64_t day = 0; day <= days; ++day)
        if (midnight(day + 1) - midnight(day) != seconds_a_day)
            odd_days_.push_back(day);
}

TimeZone::~TimeZone() {
    if (zone_)
        g_time_zone_unref(glib(zone_));
}

std::int64_t TimeZone::day_of(Moment moment) const {
    const auto after = std::upper_bound(midnights_.begin(), midnights_.end() - 1, moment);
    return std::max<std::int64_t>(0, after - midnights_.begin() - 1);
}

Moment TimeZone::moment(std::int64_t day, int second) const {
    // What the clocks show twice happens the first time. Which of the two is summer time, depends
    // on the zone: some have winter time instead.
    const auto moment_by = [&](GTimeType type) {
        gint64 shown = (first_day + day) * seconds_a_day + second;
        const int interval = g_time_zone_adjust_time(glib(zone_), type, &shown);
        return shown - g_time_zone_get_offset(glib(zone_), interval);
    };
    return std::min(moment_by(G_TIME_TYPE_STANDARD), moment_by(G_TIME_TYPE_DAYLIGHT));
}

int TimeZone::second_of_day(Moment moment) const {
    const int interval = g_time_zone_find_interval(glib(zone_), G_TIME_TYPE_UNIVERSAL, moment);
    const Moment shown = moment + g_time_zone_get_offset(glib(zone_), interval);
    return static_cast<int>((shown % seconds_a_day + seconds_a_day) % seconds_a_day);
}

} // namespace oxel::tools
