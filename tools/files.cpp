#include "files.h"

#include "failure.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

struct FileCloser {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

[[noreturn]] void fail_with_errno(const std::string &path) {
    throw Failure(path, std::strerror(errno));
}

/// Where a write to `path` ends up, behind symbolic links.
fs::path real_target(const std::string &path) {
    std::error_code error;
    const fs::path target = fs::weakly_canonical(fs::absolute(path), error);
    if (error)
        throw Failure(path, error.message());
    return target;
}

/// Creates a file of its own beside `target`.
FileHandle create_temporary(const fs::path &target, fs::path &temporary) {
    for (int number = 0; number < 100; ++number) {
        temporary = target;
        temporary += ".part" + std::to_string(number);
        FileHandle file(std::fopen(temporary.c_str(), "wbx"));
        if (file || errno != EEXIST)
            return file;
    }
    return nullptr;
}

} // namespace

Bytes read_file(const std::string &path) {
    const FileHandle file(std::fopen(path.c_str(), "rb"));
    if (!file)
        fail_with_errno(path);
    Bytes bytes;
    std::uint8_t block[65536];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file.get()))
        bytes.insert(bytes.end(), block, block + count);
    if (std::ferror(file.get()))
        fail_with_errno(path);
    return bytes;
}

void check_outputs(const std::vector<std::string> &outputs,
                   const std::vector<std::string> &inputs) {
    std::vector<fs::path> taken;
    for (const std::string &input : inputs)
        taken.push_back(real_target(input));
    for (const std::string &output : outputs) {
        if (output.empty())
            continue;
        const fs::path target = real_target(output);
        for (std::size_t i = 0; i < taken.size(); ++i)
            if (target == taken[i])
                throw Failure(output, i < inputs.size() ? "is the output, but also an input"
                                                        : "is named for two outputs");
        taken.push_back(target);
        std::error_code ignored;
        if (fs::exists(target, ignored) && !fs::is_regular_file(target, ignored))
            throw Failure(output, "is not a regular file, so it is not replaced");
    }
}

OutputFiles::~OutputFiles() {
    std::error_code ignored;
    for (const File &file : files_)
        fs::remove(file.temporary, ignored);
}

void OutputFiles::write(const std::string &path, std::span<const std::uint8_t> bytes) {
    File output{path, {}, real_target(path)};
    FileHandle file = create_temporary(output.target, output.temporary);
    if (!file)
        fail_with_errno(path);
    files_.push_back(std::move(output));
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
    if (!written || std::fclose(file.release()) != 0)
        fail_with_errno(path);
}

void OutputFiles::publish() {
    while (!files_.empty()) {
        std::error_code error;
        fs::rename(files_.front().temporary, files_.front().target, error);
        if (error)
            throw Failure(files_.front().path, error.message());
        files_.erase(files_.begin());
    }
}

} // namespace oxel::tools
