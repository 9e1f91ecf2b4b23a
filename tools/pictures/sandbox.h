#ifndef OXEL_TOOLS_SANDBOX_H
#define OXEL_TOOLS_SANDBOX_H

#include "pictures/framing.h"

namespace oxel::tools {

/// Takes from this process, for good, what a decoder of pictures does not need: memory beyond the
/// limit (where no sanitizer and no Valgrind is at work, which need more), and, as far as the
/// kernel has Landlock and seccomp, all files but the system's libraries, fonts and their settings,
/// which can be read, other programs and the network. Files that are open stay so.
void enter_sandbox(const PictureLimits &limits);

} // namespace oxel::tools

#endif
