#include "files.h"

#include "failure.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

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

/// The temporary files of all threads, for an interruption.
struct Temporaries {
    std::mutex mutex;
    std::set<fs::path> paths;
};

Temporaries &temporaries() {
    static auto *const all = new Temporaries; // outlives the threads
    return *all;
}

/// Creates a file of its own beside `target`.
FileHandle create_temporary(const fs::path &target, fs::path &temporary) {
    const std::lock_guard lock(temporaries().mutex);
    for (int number = 0; number < 100; ++number) {
        temporary = target;
        temporary += ".part" + std::to_string(number);
        FileHandle file(std::fopen(temporary.c_str(), "wbx"));
        if (file)
            temporaries().paths.insert(temporary);
        if (file || errno != EEXIST)
            return file;
    }
    return nullptr;
}

void end_when_interrupted(const sigset_t &signals) {
    int signal = 0;
    sigwait(&signals, &signal);
    temporaries().mutex.lock(); // for good: from here on nothing is created or published
    std::error_code ignored;
    for (const fs::path &path : temporaries().paths)
        fs::remove(path, ignored);
    std::signal(signal, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    std::raise(signal); // the caller sees what ended the process
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

void TakenFiles::add_input(const std::string &path) {
    taken_[real_target(path)] = true;
}

void TakenFiles::add_output(const std::string &path) {
    if (path.empty())
        return;
    const fs::path target = real_target(path);
    const auto [place, is_new] = taken_.try_emplace(target, false);
    if (!is_new)
        throw Failure(path, place->second ? "is the output, but also an input"
                                          : "is named for two outputs");
    std::error_code ignored;
    if (fs::exists(target, ignored) && !fs::is_regular_file(target, ignored))
        throw Failure(path, "is not a regular file, so it is not replaced");
}

void check_outputs(const std::vector<std::string> &outputs,
                   const std::vector<std::string> &inputs) {
    TakenFiles files;
    for (const std::string &input : inputs)
        files.add_input(input);
    for (const std::string &output : outputs)
        files.add_output(output);
}

void remove_temporaries_when_interrupted() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // Writing into a closed pipe or beyond a file-size limit fails, which the program tells.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::thread(end_when_interrupted, signals).detach();
}

OutputFiles::~OutputFiles() {
    const std::lock_guard lock(temporaries().mutex);
    std::error_code ignored;
    for (const File &file : files_) {
        fs::remove(file.temporary, ignored);
        temporaries().paths.erase(file.temporary);
    }
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
    const std::lock_guard lock(temporaries().mutex);
    while (!files_.empty()) {
        std::error_code error;
        fs::rename(files_.front().temporary, files_.front().target, error);
        if (error)
            throw Failure(files_.front().path, error.message());
        temporaries().paths.erase(files_.front().temporary);
        files_.erase(files_.begin());
    }
}

} // namespace oxel::tools
