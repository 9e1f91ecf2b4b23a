#include "base/watched.h"

#include <cstdlib>
#include <string_view>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define OXEL_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) ||                         \
    __has_feature(thread_sanitizer)
#define OXEL_SANITIZED 1
#endif
#endif

namespace oxel::tools {

bool process_is_watched() {
#ifdef OXEL_SANITIZED
    return true;
#else
    const char *const preloaded = std::getenv("LD_PRELOAD");
    return preloaded && std::string_view(preloaded).find("vgpreload") != std::string_view::npos;
#endif
}

} // namespace oxel::tools
