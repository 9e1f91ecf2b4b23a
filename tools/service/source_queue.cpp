#include "service/source_queue.h"

#include <utility>

namespace oxel::tools {

bool SourceQueue::add(const std::string &device, bool failed_last, Job ask, Job look) {
    if (!begin(device, std::move(look)))
        return true;
    const bool taken =
        (failed_last ? failing_ : healthy_).add([this, device, ask = std::move(ask)] {
            ask();
            end(device);
        });
    if (!taken)
        end(device);
    return taken;
}

void SourceQueue::add_ahead(const std::string &device, bool failed_last, Job ask) {
    (failed_last ? failing_ : healthy_).add_ahead([this, device, ask = std::move(ask)] {
        if (!begin(device, nullptr))
            return;
        ask();
        end(device);
    });
}

/// Whether nobody else is at it.
bool SourceQueue::begin(const std::string &device, Job look) {
    const std::lock_guard lock(mutex_);
    const auto [place, is_first] = asked_.try_emplace(device);
    if (!is_first && look)
        place->second.push_back(std::move(look));
    return is_first;
}

void SourceQueue::end(const std::string &device) {
    std::vector<Job> waiting;
    {
        const std::lock_guard lock(mutex_);
        waiting = std::move(asked_.extract(device).mapped());
    }
    for (const Job &look : waiting)
        look();
}

} // namespace oxel::tools
