#include "render/batch.h"

#include "base/failure.h"
#include "base/files.h"
#include "pictures/picture.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

/// Their places lie below `place`.
std::vector<BatchPhoto> pictures_below(const std::string &folder, const fs::path &place) {
    std::vector<BatchPhoto> photos;
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        const bool hidden = entry->path().filename().string().starts_with('.');
        std::error_code unknown;
        if (hidden && entry->is_directory(unknown))
            entry.disable_recursion_pending();
        else if (!hidden && is_picture_name(entry->path()) && !entry->is_directory(unknown))
            photos.push_back({entry->path(), place / entry->path().lexically_relative(folder)});
    }
    if (error)
        photos.push_back({folder, fs::path(folder).filename()});
    std::sort(photos.begin(), photos.end(),
              [](const auto &a, const auto &b) { return a.path < b.path; });
    return photos;
}

} // namespace

std::vector<std::string> listed_names(const std::string &path) {
    const Bytes bytes = read_input(path);
    const std::string list(bytes.begin(), bytes.end());
    if (list.starts_with("\xFF\xD8") || list.starts_with("\x89PNG"))
        throw Failure(path, "holds a picture, not the names of pictures");
    const char end = list.find('\0') == std::string::npos ? '\n' : '\0';
    std::vector<std::string> names;
    for (std::size_t from = 0; from < list.size();) {
        const std::size_t to = std::min(list.find(end, from), list.size());
        if (to > from)
            names.push_back(list.substr(from, to - from));
        from = to + 1;
    }
    return names;
}

std::vector<BatchPhoto> collect_photos(const std::vector<std::string> &names) {
    std::vector<BatchPhoto> photos;
    const auto append = [&](const std::vector<BatchPhoto> &more) {
        photos.insert(photos.end(), more.begin(), more.end());
    };
    std::error_code unknown;
    const auto is_folder = [&](const std::string &name) { return fs::is_directory(name, unknown); };
    const bool one_folder = std::count_if(names.begin(), names.end(), is_folder) == 1;
    for (const std::string &name : names)
        if (name == "-")
            throw Failure("standard input", "is one picture, which its frame must be named for; "
                                            "a list of names comes by --list -");
        else if (is_folder(name))
            append(pictures_below(
                name, one_folder ? fs::path() : fs::weakly_canonical(name, unknown).filename()));
        else
            photos.push_back({name, fs::path(name).filename()});
    return photos;
}

void for_each_parallel(std::size_t count, int threads,
                       const std::function<void(std::size_t)> &work) {
    std::atomic<std::size_t> next = 0;
    const auto work_on = [&] {
        for (std::size_t i = next++; i < count; i = next++)
            work(i);
    };
    std::vector<std::jthread> helpers;
    try {
        while (helpers.size() + 1 < std::min(count, static_cast<std::size_t>(threads)))
            helpers.emplace_back(work_on);
    } catch (const std::system_error &) { // the system has no more threads: fewer do it, too
    }
    work_on();
}

} // namespace oxel::tools
