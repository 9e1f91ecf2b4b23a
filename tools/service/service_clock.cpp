#include "service/service_clock.h"

#include "base/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace oxel::tools {

ServiceClock::ServiceClock(const std::string &file) {
    if (file.empty())
        return;
    file_ = Descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file_)
        throw Failure(file, std::strerror(errno));
}

Moment ServiceClock::now() const {
    if (!file_)
        return time(nullptr);
    std::array<char, 32> digits{};
    const ssize_t count = pread(file_.get(), digits.data(), digits.size(), 0);
    Moment moment = 0;
    std::from_chars(digits.data(), digits.data() + std::max<ssize_t>(0, count), moment);
    return moment;
}

} // namespace oxel::tools
