#ifndef OXEL_TOOLS_SERVICE_CLOCK_H
#define OXEL_TOOLS_SERVICE_CLOCK_H

#include "base/descriptor.h"
#include "service/time_zone.h"

#include <string>

namespace oxel::tools {

/// The time, or what a file says that it is: seconds since 1970, as digits. So an hour of many
/// devices can be gone through in a minute.
class ServiceClock {
  public:
    /// "" for the time. Throws Failure.
    explicit ServiceClock(const std::string &file = "");

    Moment now() const;

  private:
    Descriptor file_;
};

} // namespace oxel::tools

#endif
