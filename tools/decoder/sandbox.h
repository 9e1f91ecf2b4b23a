#ifndef OXEL_TOOLS_SANDBOX_H
#define OXEL_TOOLS_SANDBOX_H

#include "pictures/framing.h"

namespace oxel::tools {

/// Takes from this process, for good, what a decoder of pictures does not need: memory beyond the
/// limit and, as far as the kernel has Landlock and seccomp, the network, other programs, and all
/// files but the system's libraries and fonts, which can be read. Files that are open stay so. Does
/// nothing to a process that is watched.
void enter_sandbox(const PictureLimits &limits);

} // namespace oxel::tools

#endif
