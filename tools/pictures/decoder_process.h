#ifndef OXEL_TOOLS_DECODER_PROCESS_H
#define OXEL_TOOLS_DECODER_PROCESS_H

#include "base/files.h"
#include "pictures/decoder.h"
#include "preparation/light.h"

#include <optional>
#include <string>

namespace oxel::tools {

/// Decodes the picture in another process, which is kept for the next one: what a picture does to
/// it is a Failure of that picture alone. `facts` receives what is told of it. As many processes as
/// threads that call this at once.
Light decode_apart(const std::string &path, const Decoding &wanted, const PictureLimits &limits,
                   PictureFacts &facts);

/// If the command line is that of such a process, serves it to its end and returns the exit code.
std::optional<int> run_decoder_process(int argc, char **argv);

} // namespace oxel::tools

#endif
