#include "pictures/drawing.h"

#include "base/descriptor.h"
#include "base/failure.h"
#include "pictures/picture.h"
#include "preparation/light.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace oxel::tools {

Bytes draw_svg(const std::string &name, std::string_view svg, ImageSize &size) {
    const Descriptor file(memfd_create("drawing", MFD_CLOEXEC));
    for (std::size_t done = 0; done < svg.size();) {
        const ssize_t count = write(file.get(), svg.data() + done, svg.size() - done);
        if (count < 0)
            throw Failure(name, std::strerror(errno));
        done += static_cast<std::size_t>(count);
    }
    const std::string path = "/proc/self/fd/" + std::to_string(file.get());
    try {
        if (size.pixels() == 0)
            size = picture_size(path, {});
        return bytes_of(load_picture(path, size, {}));
    } catch (const Failure &failure) {
        throw Failure(name, failure.reason());
    }
}

} // namespace oxel::tools
