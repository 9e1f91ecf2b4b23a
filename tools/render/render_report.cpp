#include "render/render_report.h"

#include "base/failure.h"

#include <nlohmann/json.hpp>

#include <new>

namespace oxel::tools {

Outcome failed(const RenderJob &job, const std::exception &error) {
    if (const auto *failure = dynamic_cast<const Failure *>(&error))
        return {
            Status::failed, {}, failure->file() == job.photo ? failure->reason() : error.what()};
    const bool memory = dynamic_cast<const std::bad_alloc *>(&error);
    return {Status::failed, {}, memory ? "out of memory" : error.what()};
}

std::string json_line(const RenderSettings &settings, const RenderJob &job,
                      const Outcome &outcome) {
    static const char *const statuses[] = {"done", "skipped", "failed"};
    nlohmann::ordered_json line = {{"photo", job.photo},
                                   {"status", statuses[static_cast<int>(outcome.status)]}};
    if (outcome.status == Status::failed) {
        line["reason"] = outcome.reason;
    } else {
        line["frame"] = job.frame;
        if (!job.preview.empty())
            line["preview"] = job.preview;
        if (!job.nominal.empty())
            line["nominal"] = job.nominal;
    }
    if (outcome.status == Status::done) {
        line["width"] = outcome.result.frame_size.width;
        line["height"] = outcome.result.frame_size.height;
        line["bytes"] = outcome.result.frame_bytes;
    }
    if (const auto verdict = outcome.result.verdict)
        line["guard"] = {{"threshold", *settings.guard_threshold},
                         {"verdict", verdict_name(*verdict)}};
    return line.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n";
}

std::string verdict_name(int verdict) {
    static const char *const names[] = {"passed", "shifted", "blanked"};
    return names[verdict];
}

} // namespace oxel::tools
