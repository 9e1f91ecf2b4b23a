#include "base/rereadable.h"

#include "base/failure.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace oxel::tools {

Rereadable::Rereadable(const std::string &path) : path_(path) {
    std::error_code unknown;
    if (path != "-" && !std::filesystem::is_fifo(path, unknown))
        return;
    const Bytes bytes = read_input(path);
    copy_.reset(std::tmpfile());
    if (!copy_ || std::fwrite(bytes.data(), 1, bytes.size(), copy_.get()) != bytes.size() ||
        std::fflush(copy_.get()) != 0)
        throw Failure(path, std::string("cannot be copied: ") + std::strerror(errno));
    path_ = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(fileno(copy_.get()));
}

} // namespace oxel::tools
