#ifndef OXEL_TOOLS_SERVICE_H
#define OXEL_TOOLS_SERVICE_H

#include "service/frames.h"
#include "service/job_queue.h"
#include "service/moved_steps.h"
#include "service/response.h"
#include "service/service_clock.h"
#include "service/source_queue.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace oxel::tools {

/// Answers the requests of panels and of the page, whatever brings them.
class Service {
  public:
    Service(std::shared_ptr<const Fleet> fleet, const ServiceClock &clock);
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    /// Finishes what somebody waits for.
    ~Service();

    /// From now on another configuration holds, but for where the service listens and keeps things.
    void replace(std::shared_ptr<const Fleet> fleet);

    /// Why a request is refused before its body comes; nothing if it is not. `body_bytes` are those
    /// that are announced.
    std::optional<Response> refusal(const Request &request, std::uint64_t body_bytes);

    std::uint64_t most_body_bytes() const;

    /// A file without a name, for a body. Throws Failure.
    Descriptor body_file() const { return store_.nameless(); }

    /// An answer that takes no time; nothing if it does.
    std::optional<Response> answer_at_once(const Request &request);

    /// Calls `done` with the answer, from another thread.
    void answer(const std::shared_ptr<Request> &request, std::function<void(Response)> done);

    Metrics &metrics() { return metrics_; }

  private:
    /// What is known of a device beside its configuration.
    struct Running {
        std::mutex mutex;
        std::string key; // of the frame that is shown
        Slot slot{};
        Moment looked_at = -1;
        Moment looking_at = -1; // somebody is at it, or was
        Moment last_wake = 0;
        std::string battery;
        Moment ahead_until = -1;      // its frames are made up to the end of this slot
        const Fleet *fleet = nullptr; // by which it was looked at
    };

    using Result = std::optional<Response>; // nothing: takes the time of decoding

    std::shared_ptr<const Fleet> fleet() const;
    Running &running(const std::string &id);
    bool has_page_token(const Request &request, const Fleet &fleet) const;
    std::optional<Response> refused(const Request &request, const Fleet &fleet);
    Response unauthorised();

    std::optional<Response> find_at_once(const Request &request);
    void answer_by(Diligence diligence, const std::shared_ptr<Request> &request,
                   const std::shared_ptr<std::function<void(Response)>> &done);
    bool asks_source(const Request &request) const;
    Result route(Request &request, Diligence diligence);
    Result answer_safely(Request &request, Diligence diligence);
    Result devices(Request &request, const Fleet &fleet, Diligence diligence);
    Result device_part(Request &request, const Fleet &fleet, const Device &device,
                       Diligence diligence);
    Result frame(Request &request, const Fleet &fleet, const Device &device, Diligence diligence);
    Result preview(const Device &device, Diligence diligence);
    Result albums(Request &request, const Fleet &fleet, Diligence diligence);
    Result album_picture(Request &request, const Fleet &fleet, Album &album,
                         const std::string &name, Diligence diligence);
    Result upload(Request &request, const Fleet &fleet, Diligence diligence);
    Response change_crop(Request &request, const Fleet &fleet, const Album &album,
                         const std::string &name);
    Response site(const Request &request, const Fleet &fleet) const;
    Response list_devices(const Fleet &fleet);
    Response list_metrics(const Fleet &fleet);
    Response frame_response(const Device &device, ShownFrame frame, const Slot &slot, Moment now,
                            bool gzip);
    void note_wake(const Request &request, Running &running, Moment now);
    void look_ahead();
    void make_ahead(const std::string &id, const Slot &slot, Diligence diligence);

    const ServiceClock &clock_;
    mutable std::mutex mutex_; // of what follows
    std::shared_ptr<const Fleet> fleet_;
    std::map<std::string, std::unique_ptr<Running>> running_;

    Metrics metrics_;
    FrameStore store_;
    MovedSteps moved_;
    Frames frames_;
    JobQueue makers_;
    SourceQueue askers_; // so that no render waits for a slow source
    JobQueue lookers_;   // never decode, so that what is there is answered at once
    std::jthread ahead_;
};

} // namespace oxel::tools

#endif
