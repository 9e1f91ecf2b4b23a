#ifndef OXEL_TOOLS_SOURCE_QUEUE_H
#define OXEL_TOOLS_SOURCE_QUEUE_H

#include "service/job_queue.h"

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace oxel::tools {

/// Threads that ask devices' sources, which may take long or be dead. No device holds more than one
/// of them, and those whose source failed last hold none of the others' threads.
class SourceQueue {
  public:
    using Job = std::function<void()>;

    /// Does `ask`; or, if the device's source is being asked already, `look` once that has ended.
    /// Whether there was room for it.
    bool add(const std::string &device, bool failed_last, Job ask, Job look);

    /// Does `ask` when nobody waits, unless the source is being asked then.
    void add_ahead(const std::string &device, bool failed_last, Job ask);

  private:
    bool begin(const std::string &device, Job look);
    void end(const std::string &device);

    std::mutex mutex_;
    std::map<std::string, std::vector<Job>> asked_; // devices, and who waits for their sources
    JobQueue healthy_{8};
    JobQueue failing_{4};
};

} // namespace oxel::tools

#endif
