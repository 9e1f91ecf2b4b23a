#include "service/album.h"

#include "base/failure.h"
#include "pictures/picture.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace oxel::tools {

namespace {

constexpr std::int64_t nanoseconds_a_second = 1'000'000'000;
constexpr int most_levels = 32;
constexpr std::int64_t never_changed = -1; // of a folder that is not there

std::int64_t now_in_nanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * nanoseconds_a_second + now.tv_nsec;
}

std::int64_t change_time(const struct stat &status) {
    return status.st_mtim.tv_sec * nanoseconds_a_second + status.st_mtim.tv_nsec;
}

Descriptor open_root(const std::string &folder) {
    return Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

Descriptor open_below(const Descriptor &folder, const std::string &name, int flags) {
    return Descriptor(
        openat(folder.get(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | flags));
}

bool is_hidden(const std::string &part) {
    return part.empty() || part.front() == '.';
}

struct DirectoryCloser {
    void operator()(DIR *directory) const { closedir(directory); }
};

/// Lists what is in an open folder and below it.
void list_folder(const Descriptor &folder, const std::string &path, const std::string &prefix,
                 int levels, AlbumListing &listing, FileVersions &folders) {
    struct stat status{};
    if (fstat(folder.get(), &status) != 0)
        return;
    folders[path] = {change_time(status), 0};
    const std::unique_ptr<DIR, DirectoryCloser> directory(
        fdopendir(fcntl(folder.get(), F_DUPFD_CLOEXEC, 0)));
    if (!directory)
        return;
    while (const dirent *entry = readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (is_hidden(name) ||
            fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISREG(status.st_mode) && is_album_picture(name)) {
            listing.push_back({prefix + name, change_time(status)});
        } else if (S_ISDIR(status.st_mode) && levels > 0) {
            if (const Descriptor below = open_below(folder, name, O_DIRECTORY))
                list_folder(below, path + "/" + name, prefix + name + "/", levels - 1, listing,
                            folders);
        }
    }
}

std::string folder_name(const std::string &folder) {
    std::error_code unknown;
    return std::filesystem::weakly_canonical(folder, unknown).filename();
}

} // namespace

bool is_album_picture(const std::string &name) {
    std::string end = name.substr(name.size() - std::min<std::size_t>(4, name.size()));
    for (char &c : end)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    // Documents are for those who name them: their reader is the largest of all.
    return is_picture_name(name) && end != ".pdf";
}

std::string last_part(const std::string &name) {
    return name.substr(name.rfind('/') + 1);
}

std::string without_last_part(const std::string &name) {
    const std::size_t slash = name.rfind('/');
    return slash == name.npos ? "" : name.substr(0, slash);
}

std::string OpenPictureFile::path() const {
    return "/proc/self/fd/" + std::to_string(file.get());
}

Album::Album(std::vector<std::string> folders) : folders_(std::move(folders)) {}

std::shared_ptr<const AlbumListing> Album::listing() {
    const std::lock_guard lock(mutex_);
    if (!listing_ || !is_unchanged())
        look();
    return listing_;
}

bool Album::is_unchanged() const {
    const std::int64_t now = now_in_nanoseconds();
    if (now < looked_at_ || now > looked_at_ + 60 * nanoseconds_a_second)
        return false;
    return std::all_of(looked_into_.begin(), looked_into_.end(), [&](const auto &folder) {
        struct stat status{};
        if (folder.second.nanoseconds == never_changed)
            return stat(folder.first.c_str(), &status) != 0;
        // What changed while it was looked into may change again without a sign.
        return folder.second.nanoseconds + nanoseconds_a_second / 10 < looked_at_ &&
               stat(folder.first.c_str(), &status) == 0 &&
               change_time(status) == folder.second.nanoseconds;
    });
}

void Album::look() {
    auto listing = std::make_shared<AlbumListing>();
    looked_into_.clear();
    looked_at_ = now_in_nanoseconds();
    for (const std::string &folder : folders_) {
        const Descriptor root = open_root(folder);
        if (!root)
            looked_into_[folder] = {never_changed, 0};
        else
            list_folder(root, folder, folders_.size() == 1 ? "" : folder_name(folder) + "/",
                        most_levels, *listing, looked_into_);
    }
    std::sort(listing->begin(), listing->end(),
              [](const AlbumPicture &a, const AlbumPicture &b) { return a.name < b.name; });
    listing_ = std::move(listing);
}

Album::Place Album::place_of(const std::string &name) const {
    if (folders_.size() == 1)
        return {folders_.front(), name};
    const std::string first = name.substr(0, name.find('/'));
    for (const std::string &folder : folders_)
        if (folder_name(folder) == first && first.size() < name.size())
            return {folder, name.substr(first.size() + 1)};
    throw Failure(name, "no such picture");
}

Descriptor Album::open_folder_of(const std::string &name) const {
    const Place place = place_of(name);
    Descriptor folder = open_root(place.folder);
    std::string rest = place.rest;
    for (std::size_t slash = 0; folder && (slash = rest.find('/')) != rest.npos;
         rest.erase(0, slash + 1))
        folder = is_hidden(rest.substr(0, slash))
                     ? Descriptor()
                     : open_below(folder, rest.substr(0, slash), O_DIRECTORY);
    if (!folder)
        throw Failure(name, "no such picture");
    return folder;
}

OpenPictureFile Album::open(const std::string &name) const {
    const Descriptor folder = open_folder_of(name);
    const std::string last = last_part(name);
    struct stat status{};
    Descriptor file;
    if (!is_hidden(last) && is_album_picture(last))
        file = open_below(folder, last, O_NONBLOCK);
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw Failure(name, "no such picture");
    return {std::move(file),
            std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) + ":" +
                std::to_string(status.st_size) + ":" + std::to_string(change_time(status)),
            change_time(status)};
}

std::string read_beside(const Descriptor &folder, const std::string &name, std::size_t most) {
    const Descriptor file = open_below(folder, name, O_NONBLOCK);
    struct stat status{};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return "";
    std::string text(std::min<std::size_t>(most, static_cast<std::size_t>(status.st_size)), '\0');
    const ssize_t count = pread(file.get(), text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(0, count)));
    return text;
}

} // namespace oxel::tools
