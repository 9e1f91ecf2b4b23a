#ifndef OXEL_TOOLS_FETCH_H
#define OXEL_TOOLS_FETCH_H

#include "base/bytes.h"
#include "service/configuration.h"

#include <string>

namespace oxel::tools {

/// What a device's command writes to its standard output, or what is at its address, which curl
/// asks for. Neither may take longer than 20 s or give more than so many bytes. Throws Failure.
Bytes fetch_picture(const std::string &device, const PictureSource &source, std::size_t most_bytes);

} // namespace oxel::tools

#endif
