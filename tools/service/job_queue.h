#ifndef OXEL_TOOLS_JOB_QUEUE_H
#define OXEL_TOOLS_JOB_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace oxel::tools {

/// Threads that work off jobs, which must not throw: what somebody waits for before what is done
/// ahead.
class JobQueue {
  public:
    explicit JobQueue(int threads);
    JobQueue(const JobQueue &) = delete;
    JobQueue &operator=(const JobQueue &) = delete;

    /// Finishes what somebody waits for; what is ahead and not begun is dropped.
    ~JobQueue();

    /// Whether it was taken: none is, once so many wait.
    bool add(std::function<void()> job);

    void add_ahead(std::function<void()> job);

    std::size_t waiting() const;

  private:
    void work();

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> jobs_;
    std::deque<std::function<void()>> ahead_;
    bool ends_ = false;
    std::vector<std::jthread> threads_;
};

} // namespace oxel::tools

#endif
