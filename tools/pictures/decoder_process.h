#ifndef OXEL_TOOLS_DECODER_PROCESS_H
#define OXEL_TOOLS_DECODER_PROCESS_H

#include "base/files.h"
#include "pictures/decoding.h"
#include "preparation/light.h"

#include <string>

namespace oxel::tools {

/// Decodes the picture in a process of the program oxel-decoder, which is kept for the next one:
/// what a picture does to it is a Failure of that picture alone. `facts` receives what is told of
/// it. As many processes as threads that call this at once.
Light decode_apart(const std::string &path, const Decoding &wanted, const PictureLimits &limits,
                   PictureFacts &facts);

/// Says where oxel-decoder is, to a program that has it neither beside itself nor where programs
/// have their helpers once they are installed. To be called before anything is decoded.
void decode_with(const std::string &program);

} // namespace oxel::tools

#endif
