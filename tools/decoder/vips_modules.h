#ifndef OXEL_TOOLS_VIPS_MODULES_H
#define OXEL_TOOLS_VIPS_MODULES_H

namespace oxel::tools {

// libvips may keep formats in modules. All of them bring in a hundred libraries and take 20 ms,
// while most pictures need none.

/// Starts libvips and leaves its modules for load_vips_module, as far as they can be found. To be
/// called by a process' only thread.
void start_vips_without_modules();

/// Loads a module unless it is there, or there is none of this name. Whether it is new.
bool load_vips_module(const char *name);

} // namespace oxel::tools

#endif
