#ifndef OXEL_TOOLS_PICTURE_H
#define OXEL_TOOLS_PICTURE_H

#include "base/files.h"
#include "base/image_size.h"
#include "pictures/framing.h"
#include "preparation/light.h"

#include <string>

namespace oxel::tools {

// Pictures come from strangers. Each is decoded in a process of its own kind (decoder_process.h): a
// picture that crashes its decoder, or exceeds the limits, is a Failure like others.

/// Whether files of this name in a folder are taken for pictures.
bool is_picture_name(const std::string &path);

/// The size of a picture when it is held upright.
ImageSize picture_size(const std::string &path, const Framing &framing,
                       const PictureLimits &limits = {});

/// The day on which a photograph was taken, "2019-07-03", or "" if it does not say.
std::string picture_day(const std::string &path, const PictureLimits &limits = {});

/// A picture in any format of loaders.h, in light, upright, on the background where it is
/// transparent. Throws Failure also for files that end too early. Any number of threads
/// may load pictures.
Light load_picture(const std::string &path, ImageSize size, const Framing &framing,
                   const PictureLimits &limits = {});

} // namespace oxel::tools

#endif
