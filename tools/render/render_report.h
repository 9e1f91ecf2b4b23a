#ifndef OXEL_TOOLS_RENDER_REPORT_H
#define OXEL_TOOLS_RENDER_REPORT_H

#include "render/render_job.h"

#include <exception>
#include <string>

namespace oxel::tools {

enum class Status { done, skipped, failed };

/// What became of a photograph.
struct Outcome {
    Status status;
    RenderResult result{}; // if done
    std::string reason;    // if failed
};

Outcome failed(const RenderJob &job, const std::exception &error);

/// The outcome as a line of JSON.
std::string json_line(const RenderSettings &settings, const RenderJob &job, const Outcome &outcome);

/// The name of a value of enum Oxel_guard_result.
std::string verdict_name(int verdict);

} // namespace oxel::tools

#endif
