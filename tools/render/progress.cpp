#include "render/progress.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace oxel::tools {

namespace {

constexpr const char *clear_line = "\r\x1b[K";

std::string as_time(double seconds) {
    const auto whole = std::lround(seconds);
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", whole / 3600, whole / 60 % 60, whole % 60);
    return text;
}

} // namespace

Progress::Progress(std::size_t total, bool wanted)
    : shown_(wanted && total > 0 && isatty(STDERR_FILENO)), total_(total) {
    if (shown_)
        draw(start_);
}

Progress::~Progress() {
    if (shown_)
        std::fputs(clear_line, stderr);
}

void Progress::advance(bool worked, bool failed) {
    const std::lock_guard lock(mutex_);
    ++done_;
    worked_ += worked ? 1 : 0;
    failed_ += failed ? 1 : 0;
    const auto now = Clock::now();
    if (shown_ && (now - drawn_ >= std::chrono::milliseconds(100) || done_ == total_))
        draw(now);
}

void Progress::draw(Clock::time_point now) {
    drawn_ = now;
    constexpr std::size_t width = 30;
    const std::size_t filled = width * done_ / total_;
    std::string line = clear_line + std::string("[") + std::string(filled, '#') +
                       std::string(width - filled, '.') + "] " + std::to_string(done_) + "/" +
                       std::to_string(total_);
    const double seconds = std::chrono::duration<double>(now - start_).count();
    if (worked_ > 0 && seconds >= 1) { // sooner, it would be a guess
        const double rate = static_cast<double>(worked_) / seconds;
        char text[32];
        std::snprintf(text, sizeof text, "  %.2f/s  ", rate);
        line += text + as_time(static_cast<double>(total_ - done_) / rate) + " left";
    }
    if (failed_ > 0)
        line += "  " + std::to_string(failed_) + " failed";
    std::fputs(line.c_str(), stderr);
}

} // namespace oxel::tools
