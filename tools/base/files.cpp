#include "base/files.h"

#include "base/failure.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail_with_errno(const std::string &path) {
    throw Failure(path, std::strerror(errno));
}

/// Where a write to `path` ends up, behind symbolic links.
fs::path real_target(const std::string &path) {
    if (path.empty())
        throw Failure("\"\"", "is no file's name");
    std::error_code error;
    const fs::path target = fs::weakly_canonical(fs::absolute(path), error);
    std::error_code unknown;
    if (error && fs::exists(path, unknown))
        return fs::absolute(path); // a pipe: what its link names is no path
    if (error)
        throw Failure(path, error.message());
    return target;
}

/// What the files of all threads leave to be done.
struct Register {
    std::mutex mutex;
    std::set<fs::path> temporaries; // for an interruption
    std::set<fs::path> changed_folders;
};

Register &all_threads() {
    static auto *const all = new Register; // outlives the threads
    return *all;
}

/// Some file systems have nothing to do for folders, and say so.
bool force_out(int file) {
    return fsync(file) == 0 || errno == EINVAL;
}

Bytes read_all(const std::string &path, std::FILE *file) {
    Bytes bytes;
    std::uint8_t block[65536];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file)) {
        bytes.insert(bytes.end(), block, block + count);
        if (bytes.size() > INT32_MAX)
            throw Failure(path, "is 2 GiB or larger, which no input can be");
    }
    if (std::ferror(file))
        fail_with_errno(path);
    return bytes;
}

bool write_all(std::FILE *file, std::span<const std::uint8_t> bytes) {
    return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
           std::fflush(file) == 0;
}

bool is_named(std::FILE *file, const fs::path &path) {
    struct stat opened;
    struct stat named;
    return fstat(fileno(file), &opened) == 0 && lstat(path.c_str(), &named) == 0 &&
           opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

bool lock_file(std::FILE *file) {
    return flock(fileno(file), LOCK_EX | LOCK_NB) == 0;
}

/// Removes a temporary file whose process has ended: nobody else can lock it.
bool remove_abandoned(const fs::path &temporary) {
    const FileHandle file(std::fopen(temporary.c_str(), "r+b"));
    return file && lock_file(file.get()) && is_named(file.get(), temporary) &&
           std::remove(temporary.c_str()) == 0;
}

/// A rename would replace a file that may not be written.
void expect_writable(const std::string &path, const fs::path &target) {
    struct stat old{};
    if (stat(target.c_str(), &old) == 0 &&
        ((old.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 || access(target.c_str(), W_OK) != 0))
        throw Failure(path, "is read-only, so it is not replaced");
}

/// Gives the file the mode, and as far as that is allowed the owner, of the one that it replaces.
bool keep_mode(int file, const fs::path &target) {
    struct stat old{};
    struct stat now{};
    if (stat(target.c_str(), &old) != 0 || fstat(file, &now) != 0)
        return true; // it is new
    if ((old.st_uid != now.st_uid || old.st_gid != now.st_gid) &&
        fchown(file, old.st_uid, old.st_gid) != 0)
        errno = 0; // its owner is whoever writes it
    return old.st_mode == now.st_mode || fchmod(file, old.st_mode & 0777) == 0;
}

FileVersion version_of(const struct stat &status) {
    return {std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec,
            status.st_size};
}

/// Gives the file the present time, to the nanosecond: the kernel's own is as old as its last tick.
bool stamp(int file) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const timespec times[] = {now, now};
    return futimens(file, times) == 0;
}

/// Creates a file of its own beside `target` and locks it, where the file system has locks.
FileHandle create_temporary(const fs::path &target, fs::path &temporary) {
    const std::lock_guard guard(all_threads().mutex);
    for (int number = 0; number < 100; ++number) {
        temporary = target;
        temporary += ".oxel-part" + std::to_string(number);
        FileHandle file(std::fopen(temporary.c_str(), "wbx"));
        if (!file && errno != EEXIST)
            return nullptr;
        if (!file && remove_abandoned(temporary))
            file.reset(std::fopen(temporary.c_str(), "wbx"));
        // Another process may have found it before it was locked.
        if (file && (lock_file(file.get()) || errno != EWOULDBLOCK) &&
            is_named(file.get(), temporary)) {
            all_threads().temporaries.insert(temporary);
            return file;
        }
    }
    errno = EEXIST;
    return nullptr;
}

/// Who answers signals instead of the process's end.
std::function<bool(int)> &signal_answer() {
    static auto *const answer = new std::function<bool(int)>; // outlives the threads
    return *answer;
}

bool is_answered(int signal) {
    const std::lock_guard lock(all_threads().mutex);
    return signal_answer() && signal_answer()(signal);
}

void end_when_interrupted(const sigset_t &signals) {
    int signal = 0;
    do
        sigwait(&signals, &signal);
    while (is_answered(signal));
    all_threads().mutex.lock(); // for good: from here on nothing is created or published
    std::error_code ignored;
    for (const fs::path &path : all_threads().temporaries)
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
    return read_all(path, file.get());
}

Bytes read_input(const std::string &path) {
    return path == "-" ? read_all("standard input", stdin) : read_file(path);
}

void write_standard_output(std::span<const std::uint8_t> bytes) {
    if (!write_all(stdout, bytes))
        throw Failure("standard output", "cannot be written");
}

FileVersion file_version(const std::string &path) {
    struct stat status{};
    return stat(path.c_str(), &status) == 0 ? version_of(status) : FileVersion{};
}

void TakenFiles::add_input(const std::string &path) {
    if (path != "-")
        taken_[real_target(path)] = true;
}

void TakenFiles::add_output(const std::string &path) {
    if (path.empty())
        return;
    if (path == "-")
        throw Failure(path, "is not the standard output here: ./- names a file");
    const fs::path target = real_target(path);
    const auto [place, is_new] = taken_.try_emplace(target, false);
    if (!is_new)
        throw Failure(path, place->second ? "is the output, but also an input"
                                          : "is named for two outputs");
    std::error_code ignored;
    if (fs::exists(target, ignored) && !fs::is_regular_file(target, ignored) &&
        !fs::is_fifo(target, ignored))
        throw Failure(path, "is not a regular file, so it is not replaced");
}

void check_outputs(const std::vector<std::string> &outputs,
                   const std::vector<std::string> &inputs) {
    TakenFiles files;
    for (const std::string &input : inputs)
        files.add_input(input);
    for (const std::string &output : outputs) {
        files.add_output(output);
        expect_writable(output, output);
    }
}

void make_folder(const fs::path &folder) {
    std::error_code error;
    for (fs::path path = fs::absolute(folder);
         !fs::exists(path, error) && path != path.parent_path(); path = path.parent_path()) {
        const std::lock_guard lock(all_threads().mutex);
        all_threads().changed_folders.insert(path.parent_path());
    }
    fs::create_directories(folder, error);
    std::error_code unknown;
    if (!fs::is_directory(folder, unknown))
        throw Failure(folder, error ? error.message() : "is not a folder");
}

void sync_folders() {
    const std::lock_guard lock(all_threads().mutex);
    for (const fs::path &path : std::exchange(all_threads().changed_folders, {}))
        // A folder that may be written but not read cannot be forced out, either.
        if (const FileHandle folder{std::fopen(path.c_str(), "r")};
            folder && !force_out(fileno(folder.get())))
            fail_with_errno(path);
}

void remove_temporaries_when_interrupted() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action{};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // Writing into a closed pipe or beyond a file-size limit fails, which the program tells.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::thread(end_when_interrupted, signals).detach();
}

void answer_signals(std::function<bool(int)> answer) {
    const std::lock_guard lock(all_threads().mutex);
    signal_answer() = std::move(answer);
}

OutputFiles::~OutputFiles() {
    const std::lock_guard lock(all_threads().mutex);
    std::error_code ignored;
    for (const File &file : files_) {
        fs::remove(file.temporary, ignored);
        all_threads().temporaries.erase(file.temporary);
    }
}

void OutputFiles::write(const std::string &path, std::span<const std::uint8_t> bytes) {
    File output{path, {}, real_target(path), nullptr};
    std::error_code unknown;
    if (fs::is_fifo(output.target, unknown)) {
        const FileHandle pipe(std::fopen(path.c_str(), "wb"));
        if (!pipe || !write_all(pipe.get(), bytes))
            fail_with_errno(path);
        return;
    }
    expect_writable(path, output.target);
    output.handle = create_temporary(output.target, output.temporary);
    if (!output.handle)
        fail_with_errno(path);
    files_.push_back(std::move(output));
    std::FILE *const file = files_.back().handle.get();
    if (!keep_mode(fileno(file), files_.back().target) || !write_all(file, bytes) ||
        !stamp(fileno(file)) || !force_out(fileno(file)))
        fail_with_errno(path);
}

FileVersions OutputFiles::versions() const {
    FileVersions versions;
    for (const File &file : files_) {
        struct stat status{};
        versions[file.path] =
            fstat(fileno(file.handle.get()), &status) == 0 ? version_of(status) : FileVersion{};
    }
    return versions;
}

void OutputFiles::publish() {
    const std::lock_guard lock(all_threads().mutex);
    while (!files_.empty()) {
        std::error_code error;
        fs::rename(files_.front().temporary, files_.front().target, error);
        if (error)
            throw Failure(files_.front().path, error.message());
        all_threads().temporaries.erase(files_.front().temporary);
        all_threads().changed_folders.insert(files_.front().target.parent_path());
        files_.erase(files_.begin());
    }
}

} // namespace oxel::tools
