#include "service/job_queue.h"

#include <utility>

namespace oxel::tools {

namespace {

constexpr std::size_t most_waiting = 10'000;

} // namespace

JobQueue::JobQueue(int threads) {
    for (int i = 0; i < threads; ++i)
        threads_.emplace_back([this] { work(); });
}

JobQueue::~JobQueue() {
    {
        const std::lock_guard lock(mutex_);
        ends_ = true;
        ahead_.clear();
    }
    changed_.notify_all();
    threads_.clear();
}

bool JobQueue::add(std::function<void()> job) {
    {
        const std::lock_guard lock(mutex_);
        if (jobs_.size() >= most_waiting)
            return false;
        jobs_.push_back(std::move(job));
    }
    changed_.notify_one();
    return true;
}

void JobQueue::add_ahead(std::function<void()> job) {
    {
        const std::lock_guard lock(mutex_);
        if (ends_)
            return;
        ahead_.push_back(std::move(job));
    }
    changed_.notify_one();
}

std::size_t JobQueue::waiting() const {
    const std::lock_guard lock(mutex_);
    return jobs_.size();
}

void JobQueue::work() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [&] { return ends_ || !jobs_.empty() || !ahead_.empty(); });
        std::deque<std::function<void()>> &queue = jobs_.empty() ? ahead_ : jobs_;
        if (queue.empty())
            return;
        const std::function<void()> job = std::move(queue.front());
        queue.pop_front();
        lock.unlock();
        job();
        lock.lock();
    }
}

} // namespace oxel::tools
