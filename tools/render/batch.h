#ifndef OXEL_TOOLS_BATCH_H
#define OXEL_TOOLS_BATCH_H

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace oxel::tools {

/// A photograph of a batch.
struct BatchPhoto {
    std::string path;
    std::filesystem::path place; // its path within the folder that was named, which begins with the
                                 // folder's name if there are several; else its file name
};

/// The photographs that the names stand for, in order: a file stands for itself, a folder for the
/// pictures in it and below. What cannot be looked into stands for itself.
std::vector<BatchPhoto> collect_photos(const std::vector<std::string> &names);

/// The names in a list, a file or - for the standard input: each on a line or, where there are
/// NULs, up to a NUL. Throws Failure.
std::vector<std::string> listed_names(const std::string &path);

/// Calls work(i) for each i below `count`, in order, by `threads` threads at once. `work` must not
/// throw.
void for_each_parallel(std::size_t count, int threads,
                       const std::function<void(std::size_t)> &work);

} // namespace oxel::tools

#endif
