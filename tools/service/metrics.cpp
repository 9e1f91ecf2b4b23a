#include "service/metrics.h"

namespace oxel::tools {

namespace {

std::string metric_line(const std::string &name, const std::string &kind,
                        const std::string &explanation, const std::string &value) {
    return metric_head(name, kind, explanation) + name + " " + value + "\n";
}

} // namespace

std::string metric_head(const std::string &name, const std::string &kind,
                        const std::string &explanation) {
    return "# HELP " + name + " " + explanation + "\n# TYPE " + name + " " + kind + "\n";
}

void Metrics::count_answer(int status) {
    if (status >= 0 && status < static_cast<int>(answers.size()))
        ++answers[static_cast<std::size_t>(status)];
}

std::string Metrics::text() const {
    std::string text = metric_head("oxel_requests_total", "counter", "Answers, by their status.");
    for (std::size_t status = 0; status < answers.size(); ++status)
        if (answers[status] > 0)
            text += "oxel_requests_total{code=\"" + std::to_string(status) + "\"} " +
                    std::to_string(answers[status]) + "\n";
    const auto count = [&](const char *name, const char *explanation,
                           const std::atomic<std::uint64_t> &value) {
        text += metric_line(name, "counter", explanation, std::to_string(value));
    };
    count("oxel_cache_hits_total", "Frames that were in the cache.", cache_hits);
    count("oxel_cache_misses_total", "Frames that were not.", cache_misses);
    count("oxel_renders_total", "Pictures rendered.", renders);
    count("oxel_render_failures_total", "Pictures that could not be rendered.", render_failures);
    count("oxel_fetch_failures_total", "Commands and addresses that gave no picture.",
          fetch_failures);
    count("oxel_refused_tokens_total", "Requests without the right token.", refused_tokens);
    text += metric_line("oxel_render_seconds_total", "counter", "Time that renders took.",
                        std::to_string(static_cast<double>(render_microseconds) / 1e6));
    return text;
}

} // namespace oxel::tools
