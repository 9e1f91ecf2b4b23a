#ifndef OXEL_TOOLS_METRICS_H
#define OXEL_TOOLS_METRICS_H

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

namespace oxel::tools {

/// What has happened since the service began.
struct Metrics {
    std::array<std::atomic<std::uint64_t>, 600> answers{}; // by their status
    std::atomic<std::uint64_t> cache_hits = 0;
    std::atomic<std::uint64_t> cache_misses = 0;
    std::atomic<std::uint64_t> renders = 0;
    std::atomic<std::uint64_t> render_failures = 0;
    std::atomic<std::uint64_t> render_microseconds = 0;
    std::atomic<std::uint64_t> fetch_failures = 0;
    std::atomic<std::uint64_t> refused_tokens = 0;

    void count_answer(int status);

    /// In Prometheus's text format.
    std::string text() const;
};

/// A line of that format's head.
std::string metric_head(const std::string &name, const std::string &kind,
                        const std::string &explanation);

} // namespace oxel::tools

#endif
