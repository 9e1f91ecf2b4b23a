#include "service/moved_steps.h"

#include "base/descriptor.h"
#include "base/failure.h"
#include "base/files.h"

#include <charconv>
#include <fcntl.h>
#include <sys/file.h>
#include <utility>

namespace oxel::tools {

MovedSteps::MovedSteps(std::string folder) : folder_(std::move(folder)) {
    make_folder(folder_);
}

std::string MovedSteps::path(const std::string &device) const {
    return folder_ + "/" + device + ".moved";
}

std::int64_t MovedSteps::of(const std::string &device) const {
    if (file_version(path(device)) == FileVersion{})
        return 0;
    std::int64_t steps = 0;
    try {
        const Bytes bytes = read_file(path(device));
        const char *const digits = reinterpret_cast<const char *>(bytes.data());
        std::from_chars(digits, digits + bytes.size(), steps);
    } catch (const Failure &) { // nobody can read it: nothing was moved
    }
    return steps;
}

void MovedSteps::move_on(const std::string &device) const {
    const Descriptor lock(open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    flock(lock.get(), LOCK_EX); // others may move it at the same time
    const std::string text = std::to_string(of(device) + 1) + "\n";
    OutputFiles file;
    file.write(path(device),
               std::span(reinterpret_cast<const std::uint8_t *>(text.data()), text.size()));
    file.publish();
    sync_folders();
}

} // namespace oxel::tools
