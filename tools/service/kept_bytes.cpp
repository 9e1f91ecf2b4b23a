#include "service/kept_bytes.h"

namespace oxel::tools {

namespace {

/// About what an entry takes beside its bytes.
constexpr std::size_t entry_bytes = 400;

} // namespace

std::shared_ptr<const Bytes> KeptBytes::find(const std::string &name) {
    const std::lock_guard lock(mutex_);
    const auto place = places_.find(name);
    if (place == places_.end())
        return nullptr;
    entries_.splice(entries_.begin(), entries_, place->second);
    return place->second->second;
}

void KeptBytes::keep(const std::string &name, std::shared_ptr<const Bytes> bytes) {
    const std::lock_guard lock(mutex_);
    if (places_.count(name) != 0)
        return;
    bytes_ += entry_bytes + bytes->size();
    entries_.emplace_front(name, std::move(bytes));
    places_[name] = entries_.begin();
    while (bytes_ > most_bytes_) {
        const Entry &last = entries_.back();
        bytes_ -= entry_bytes + last.second->size();
        places_.erase(last.first);
        entries_.pop_back();
    }
}

} // namespace oxel::tools
