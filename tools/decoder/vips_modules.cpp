#include "decoder/vips_modules.h"

#include "decoder/vips_session.h"

#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <gmodule.h>
#include <set>
#include <string>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

/// Of the modules that have not been loaded; "" if libvips has loaded all.
fs::path &folder() {
    static fs::path path;
    return path;
}

} // namespace

void start_vips_without_modules() {
    constexpr const char *place = "VIPSHOME"; // where libvips looks for them
    Dl_info library{};
    std::error_code unknown;
    if (!std::getenv(place) && dladdr(reinterpret_cast<void *>(&vips_init), &library) != 0)
        folder() = fs::path(library.dli_fname).parent_path() /
                   ("vips-modules-" + std::to_string(vips_version(0)) + '.' +
                    std::to_string(vips_version(1)));
    if (!fs::is_directory(folder(), unknown))
        folder().clear();
    else
        setenv(place, "/dev/null", 1);
    start_vips();
    if (!folder().empty())
        unsetenv(place);
}

bool load_vips_module(const char *name) {
    static std::set<std::string> loaded;
    if (folder().empty() || !loaded.insert(name).second)
        return false;
    const fs::path module = folder() / ("vips-" + std::string(name) + ".so");
    return g_module_open(module.c_str(), G_MODULE_BIND_LAZY) != nullptr;
}

} // namespace oxel::tools
