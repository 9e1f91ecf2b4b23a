#ifndef OXEL_TOOLS_FRAMES_H
#define OXEL_TOOLS_FRAMES_H

#include "service/device_frame.h"
#include "service/frame_store.h"
#include "service/metrics.h"
#include "service/service_clock.h"

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace oxel::tools {

/// The forms in which a frame is kept.
enum class FrameForm { frame, gzip, preview };

/// What a call may take the time for: to look only, to ask sources as well, or also to decode.
enum class Diligence { look, ask, make };

/// A frame by its key, and what it shows.
struct ShownFrame {
    std::string key;
    OpenFile file;
};

/// Finds or makes the frames of devices. Any number of threads may do so at once.
class Frames {
  public:
    Frames(FrameStore &store, Metrics &metrics, const ServiceClock &clock)
        : store_(store), metrics_(metrics), clock_(clock) {}

    /// What a device shows at a step of its schedule; nothing if it is not there yet and must not
    /// be made. A picture that cannot be rendered leaves the one before it on the panel. Throws
    /// Failure if there is none.
    std::optional<ShownFrame> at_step(const Device &device, std::int64_t step, std::int64_t slot,
                                      FrameForm form, Diligence diligence);

    /// A picture that was sent, as this device would show it. Throws Failure.
    ShownFrame of_upload(const Device &device, OpenPictureFile file, FrameForm form);

    /// At most 320 pixels a side. Nothing if it is not there yet and must not be made.
    std::optional<ShownFrame> thumbnail(const Album &album, const std::string &name,
                                        Diligence diligence);

    /// Whether the device's source failed when it was last asked.
    bool source_failed(const std::string &device);

    /// Of the file's bytes, which are read once.
    std::string digest_of(const OpenPictureFile &file);

  private:
    using Pictures = std::vector<ShownPicture>;
    class Making;
    using Units = std::vector<std::vector<std::string>>; // names that are shown together

    std::optional<Units> units_of(const Device &device, Diligence diligence);
    bool is_portrait(const Album &album, const AlbumPicture &picture);
    std::optional<Pictures> pictures_at(const Device &device, std::int64_t step, std::int64_t slot,
                                        Diligence diligence);
    std::optional<OpenPictureFile> fetched(const Device &device, std::int64_t slot,
                                           Diligence diligence);
    std::optional<std::string> failure_of(const std::string &key, std::int64_t seconds);
    void note_failure(const std::string &key, const std::string &reason);
    ShownPicture shown(const Device &device, const std::string &name);
    std::string caption_of(const Device &device, const std::string &name, const Descriptor &folder,
                           const OpenPictureFile &file);
    std::optional<ShownFrame> find(const Device &device, const Pictures &pictures, FrameForm form,
                                   Diligence diligence);
    OpenFile keep(const std::string &name, std::span<const std::uint8_t> bytes);
    OpenFile make(const Device &device, const Pictures &pictures, const std::string &key,
                  FrameForm form);

    FrameStore &store_;
    Metrics &metrics_;
    const ServiceClock &clock_;
    PanelTurns turns_;
    std::mutex mutex_; // of what follows
    std::condition_variable made_;
    std::set<std::string> under_way_;
    std::map<std::string, std::pair<Moment, std::string>> failed_; // keys: when, and why
    std::set<std::string> failing_;              // devices whose source failed last
    std::map<std::string, std::string> digests_; // by files' identities
    std::map<std::string, std::string> days_;
    std::map<std::string, bool> portraits_;
    std::map<std::pair<const Album *, Order>, std::pair<std::shared_ptr<const AlbumListing>, Units>>
        units_;
};

} // namespace oxel::tools

#endif
