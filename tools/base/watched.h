#ifndef OXEL_TOOLS_WATCHED_H
#define OXEL_TOOLS_WATCHED_H

namespace oxel::tools {

/// Whether a sanitizer or Valgrind is at work, which need more than the program does.
bool process_is_watched();

} // namespace oxel::tools

#endif
