#ifndef OXEL_TOOLS_DEVICE_FRAME_H
#define OXEL_TOOLS_DEVICE_FRAME_H

#include "service/device.h"
#include "service/panel_turns.h"
#include "service/picture_notes.h"

#include <optional>
#include <string>
#include <vector>

namespace oxel::tools {

/// A picture that a device is to show: a file that is open.
struct ShownPicture {
    OpenPictureFile file;
    std::string name; // for messages
    std::string digest;
    std::optional<Crop> crop;
    std::string caption; // "" for none
};

/// What the device's frame of these pictures is known by: all that it depends on, digested.
std::string frame_key(const Device &device, const std::vector<ShownPicture> &pictures);

/// Decodes the pictures and puts them together, two side by side: what is rendered. Throws Failure.
Light compose(const Device &device, const std::vector<ShownPicture> &pictures);

/// What a device is sent.
Bytes device_frame(const Device &device, const Light &picture, PanelTurns &turns);

/// The same as a PNG, in the panel's measured colours.
Bytes device_preview(const Device &device, const Light &picture, PanelTurns &turns);

} // namespace oxel::tools

#endif
