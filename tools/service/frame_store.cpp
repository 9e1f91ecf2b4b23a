#include "service/frame_store.h"

#include "base/failure.h"
#include "base/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

constexpr time_t seconds_an_hour = 3600;

/// How exactly it is known when a file was last asked for.
constexpr time_t mark_seconds = 60;

/// So much is kept in memory, and of files that are no larger than that.
constexpr std::size_t most_kept_bytes = std::size_t{8} << 20;
constexpr std::size_t most_kept_file_bytes = std::size_t{1} << 20;

/// How many bytes more a disk must have before it takes so many.
std::uint64_t missing_room(const std::string &folder, std::uint64_t bytes) {
    struct statvfs disk{};
    if (statvfs(folder.c_str(), &disk) != 0)
        return 0;
    const std::uint64_t wanted = bytes + 2 * disk.f_frsize; // its last block, and its name
    const std::uint64_t free = std::uint64_t{disk.f_bavail} * disk.f_frsize;
    return wanted - std::min(wanted, free);
}

OpenFile memory_file(std::span<const std::uint8_t> bytes) {
    Descriptor file(memfd_create("frame", MFD_CLOEXEC));
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = write(file.get(), bytes.data() + done, bytes.size() - done);
        if (count <= 0)
            throw std::bad_alloc();
        done += static_cast<std::size_t>(count);
    }
    return {std::move(file), bytes.size()};
}

} // namespace

Bytes read_open_file(const OpenFile &file) {
    Bytes bytes(file.bytes);
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = pread(file.file.get(), bytes.data() + done, bytes.size() - done,
                                    static_cast<off_t>(done));
        if (count <= 0)
            throw Failure("cache", "a frame cannot be read");
        done += static_cast<std::size_t>(count);
    }
    return bytes;
}

FrameStore::FrameStore(std::string folder, std::uint64_t most_bytes)
    : folder_(std::move(folder)), most_bytes_(most_bytes), kept_(most_kept_bytes) {
    make_folder(folder_);
    const std::lock_guard lock(mutex_);
    tidy(0);
}

std::optional<OpenFile> FrameStore::find(const std::string &name) {
    Descriptor file(open((folder_ + "/" + name).c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status{};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        const auto kept = kept_.find(name);
        return kept ? std::optional(memory_file(*kept)) : std::nullopt;
    }
    if (status.st_mtime + mark_seconds < time(nullptr))
        futimens(file.get(), nullptr);
    return OpenFile{std::move(file), static_cast<std::uint64_t>(status.st_size)};
}

std::shared_ptr<const Bytes> FrameStore::find_kept(const std::string &name) {
    if (auto kept = kept_.find(name))
        return kept;
    const std::optional<OpenFile> file = find(name);
    if (!file || file->bytes > most_kept_file_bytes)
        return nullptr;
    auto bytes = std::make_shared<const Bytes>(read_open_file(*file));
    kept_.keep(name, bytes);
    return bytes;
}

OpenFile FrameStore::hold(const std::string &name, std::span<const std::uint8_t> bytes) {
    OpenFile file = memory_file(bytes);
    if (bytes.size() <= most_kept_file_bytes)
        kept_.keep(name, std::make_shared<const Bytes>(bytes.begin(), bytes.end()));
    return file;
}

OpenFile FrameStore::put(const std::string &name, std::span<const std::uint8_t> bytes) {
    if (const std::uint64_t missing = missing_room(folder_, bytes.size())) {
        const std::lock_guard lock(mutex_);
        tidy(missing);
    }
    std::error_code error;
    if (!fs::exists(folder_, error)) // somebody has removed it
        make_folder(folder_);
    OutputFiles files;
    files.write(folder_ + "/" + name, bytes);
    files.publish();
    std::optional<OpenFile> file = find(name);
    const std::lock_guard lock(mutex_);
    bytes_ += bytes.size();
    unlooked_ += bytes.size();
    // Others put files there, too.
    if (bytes_ > most_bytes_ || unlooked_ > most_bytes_ / 16)
        tidy(0);
    if (!file)
        throw Failure(folder_, "a file that was put there is gone");
    return std::move(*file);
}

Descriptor FrameStore::nameless() const {
    Descriptor file(open(folder_.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (!file) // the folder is gone or cannot be written, or its file system has none
        file = Descriptor(memfd_create("upload", MFD_CLOEXEC));
    if (!file)
        throw Failure(folder_, std::strerror(errno));
    return file;
}

std::uint64_t FrameStore::bytes() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

void FrameStore::tidy(std::uint64_t missing) {
    struct Entry {
        time_t used;
        std::uint64_t bytes;
        fs::path path;
    };
    std::vector<Entry> entries;
    std::uint64_t sum = 0;
    std::error_code error;
    for (fs::directory_iterator entry(folder_, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        struct stat status{};
        if (lstat(entry->path().c_str(), &status) != 0 || !S_ISREG(status.st_mode))
            continue;
        const auto bytes = static_cast<std::uint64_t>(status.st_size);
        // What a process that was killed has left half done.
        const bool part = entry->path().native().find(".oxel-part") != std::string::npos;
        if (part && status.st_mtime + seconds_an_hour < time(nullptr)) {
            unlink(entry->path().c_str());
        } else if (!part) {
            entries.push_back({status.st_mtime, bytes, entry->path()});
            sum += bytes;
        }
    }
    // Room for a while, and for what others put there unseen.
    const std::uint64_t most = std::min(sum > most_bytes_ ? most_bytes_ - most_bytes_ / 8 : sum,
                                        sum - std::min(sum, missing));
    if (sum > most) {
        std::sort(entries.begin(), entries.end(),
                  [](const Entry &a, const Entry &b) { return a.used < b.used; });
        for (const Entry &entry : entries) {
            if (sum <= most)
                break;
            if (unlink(entry.path.c_str()) == 0)
                sum -= entry.bytes;
        }
    }
    bytes_ = sum;
    unlooked_ = 0;
}

} // namespace oxel::tools
