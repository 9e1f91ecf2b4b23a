#ifndef OXEL_TOOLS_KEPT_BYTES_H
#define OXEL_TOOLS_KEPT_BYTES_H

#include "base/bytes.h"

#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace oxel::tools {

/// Small files' contents in memory, by names that never stand for others. What was not asked for
/// for the longest time goes first when there are too many bytes. Any number of threads may ask.
class KeptBytes {
  public:
    explicit KeptBytes(std::size_t most_bytes) : most_bytes_(most_bytes) {}

    /// Null if it is not there.
    std::shared_ptr<const Bytes> find(const std::string &name);

    void keep(const std::string &name, std::shared_ptr<const Bytes> bytes);

  private:
    using Entry = std::pair<std::string, std::shared_ptr<const Bytes>>;

    const std::size_t most_bytes_;
    std::mutex mutex_; // of what follows
    std::size_t bytes_ = 0;
    std::list<Entry> entries_; // what was asked for last is first
    std::map<std::string, std::list<Entry>::iterator> places_;
};

} // namespace oxel::tools

#endif
