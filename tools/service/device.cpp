#include "service/device.h"

#include "base/failure.h"
#include "package_builder/package_file.h"
#include "render/describe_settings.h"

#include <tuple>

namespace oxel::tools {

namespace {

class Opener {
  public:
    std::shared_ptr<const Fleet> open(Configuration configuration) {
        auto fleet = std::make_shared<Fleet>();
        for (const auto &[name, folders] : configuration.albums)
            fleet->albums[name] = albums_[folders] = std::make_shared<Album>(folders);
        for (const DeviceConfiguration &device : configuration.devices)
            fleet->devices.emplace(device.id, open_device(device));
        fleet->configuration = std::move(configuration);
        for (const auto &[id, device] : fleet->devices)
            if (!device.configuration.source.album.empty())
                fleet->devices.at(id).album = fleet->albums.at(device.configuration.source.album);
        return fleet;
    }

  private:
    Device open_device(const DeviceConfiguration &configuration) {
        Device device{configuration,
                      panel_of(configuration.settings),
                      schedule_of(configuration.schedule),
                      nullptr,
                      {},
                      0,
                      {}};
        const RenderSettings &settings = configuration.settings;
        if (!settings.picture.size && !device.panel->size)
            throw Failure("device " + configuration.id, "its panel tells no size: size is missing");
        device.size = settings.picture.size ? *settings.picture.size : *device.panel->size;
        device.layout = settings.frame.layout.value_or(device.panel->layout);
        device.settings = describe(settings, *device.panel, package_sums_.at(device.panel.get())) +
                          std::to_string(device.layout);
        if (!configuration.source.folders.empty()) {
            std::shared_ptr<Album> &album = albums_[configuration.source.folders];
            if (!album)
                album = std::make_shared<Album>(configuration.source.folders);
            device.album = album;
        }
        return device;
    }

    std::shared_ptr<const Panel> panel_of(const RenderSettings &settings) {
        const auto key =
            std::tuple(settings.picture.panel, tuning_of(settings), settings.picture.intent);
        std::shared_ptr<const Panel> &panel = panels_[key];
        if (!panel) {
            panel = std::make_shared<Panel>(
                open_panel(settings.picture.panel, tuning_of(settings), settings.picture.intent));
            package_sums_[panel.get()] = package_crc(panel->package);
        }
        return panel;
    }

    std::shared_ptr<const Schedule> schedule_of(const ScheduleRules &rules) {
        std::shared_ptr<const Schedule> &schedule = schedules_[rules];
        if (!schedule)
            schedule = std::make_shared<Schedule>(rules);
        return schedule;
    }

    std::map<std::vector<std::string>, std::shared_ptr<Album>> albums_;
    std::map<std::tuple<std::string, Tuning, std::optional<Intent>>, std::shared_ptr<const Panel>>
        panels_;
    std::map<const Panel *, std::uint32_t> package_sums_;
    std::map<ScheduleRules, std::shared_ptr<const Schedule>> schedules_;
};

} // namespace

std::shared_ptr<const Fleet> open_fleet(Configuration configuration) {
    return Opener().open(std::move(configuration));
}

} // namespace oxel::tools
