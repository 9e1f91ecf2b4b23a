#ifndef OXEL_TOOLS_DEVICE_H
#define OXEL_TOOLS_DEVICE_H

#include "service/album.h"
#include "service/configuration.h"

#include <memory>
#include <string>

namespace oxel::tools {

/// A device as the service works with it.
struct Device {
    DeviceConfiguration configuration;
    std::shared_ptr<const Panel> panel;
    std::shared_ptr<const Schedule> schedule;
    std::shared_ptr<Album> album; // none for other sources
    ImageSize size;               // of its pictures
    int layout;
    std::string settings; // all that its frames depend on beside their pictures
};

/// The devices and albums of a configuration. What they have in common they share.
struct Fleet {
    Configuration configuration;
    std::map<std::string, std::shared_ptr<Album>> albums;
    std::map<std::string, Device> devices;
};

/// Opens the panels. Throws Failure.
std::shared_ptr<const Fleet> open_fleet(Configuration configuration);

} // namespace oxel::tools

#endif
