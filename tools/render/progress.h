#ifndef OXEL_TOOLS_PROGRESS_H
#define OXEL_TOOLS_PROGRESS_H

#include <chrono>
#include <cstddef>
#include <mutex>

namespace oxel::tools {

/// A bar on the standard error with the rate and the time left; nothing where that is no terminal.
class Progress {
  public:
    Progress(std::size_t total, bool wanted);
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    ~Progress(); // removes the bar

    /// May be called by several threads at once. Only what was worked on counts for the rate.
    void advance(bool worked, bool failed);

  private:
    using Clock = std::chrono::steady_clock;

    void draw(Clock::time_point now);

    const bool shown_;
    const std::size_t total_;
    const Clock::time_point start_ = Clock::now();
    std::mutex mutex_;
    Clock::time_point drawn_;
    std::size_t done_ = 0;
    std::size_t worked_ = 0;
    std::size_t failed_ = 0;
};

} // namespace oxel::tools

#endif
