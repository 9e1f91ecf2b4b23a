#ifndef OXEL_TOOLS_FILES_H
#define OXEL_TOOLS_FILES_H

#include "base/bytes.h"

#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace oxel::tools {

struct FileCloser {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

/// Throws Failure if the file cannot be read to its end.
Bytes read_file(const std::string &path);

/// The same, or all that comes from the standard input if `path` is "-".
Bytes read_input(const std::string &path);

/// Throws Failure if not all of it could be written.
void write_standard_output(std::span<const std::uint8_t> bytes);

/// What tells a file's contents from those that it had at other times.
struct FileVersion {
    std::int64_t nanoseconds = 0; // of its last change
    std::int64_t bytes = -1;      // -1: there is no file

    bool operator==(const FileVersion &) const = default;
};

FileVersion file_version(const std::string &path);

using FileVersions = std::map<std::string, FileVersion>; // by their names

/// The files that a run reads and writes, told apart by where they really are.
class TakenFiles {
  public:
    void add_input(const std::string &path);

    /// Throws Failure if the output is also an input or another output, or is something that a file
    /// must not replace: a folder, a device. Into a pipe it goes as it is. An empty name is an
    /// output that nobody asked for.
    void add_output(const std::string &path);

  private:
    std::map<std::filesystem::path, bool> taken_; // whether it is an input
};

/// Throws Failure for outputs that add_output refuses or that are read-only.
void check_outputs(const std::vector<std::string> &outputs, const std::vector<std::string> &inputs);

/// Makes the folder and those above it. Throws Failure if there is none afterwards.
void make_folder(const std::filesystem::path &folder);

/// Forces onto the disk where the files published and the folders made since the last call are:
/// what they hold is there already. Throws Failure.
void sync_folders();

/// From now on an interruption (SIGINT, SIGTERM, SIGHUP) removes what OutputFiles has not
/// published before it ends the process; a publication under way is completed first. Must be called
/// before any thread is started.
void remove_temporaries_when_interrupted();

/// From now on `answer` is asked first, and returns whether the process goes on. It must not wait.
/// An empty function ends that.
void answer_signals(std::function<bool(int signal)> answer);

/// The output files of one job, which appear together: each is written beside its target under a
/// temporary name, forced onto the disk, and takes the target's place only when all are whole.
/// Temporary files that are left, after a failure, disappear with the object; those of a process
/// that was killed, when the same output is written again.
class OutputFiles {
  public:
    OutputFiles() = default;
    OutputFiles(const OutputFiles &) = delete;
    OutputFiles &operator=(const OutputFiles &) = delete;
    ~OutputFiles();

    /// Into a pipe, which nobody can take back, at once. A file that was there keeps its mode and
    /// owner; one that is read-only is a Failure.
    void write(const std::string &path, std::span<const std::uint8_t> bytes);

    /// The versions that the files written so far will have once they are published.
    FileVersions versions() const;

    void publish();

  private:
    struct File {
        std::string path; // as the user wrote it
        std::filesystem::path temporary;
        std::filesystem::path target;
        FileHandle handle; // holds the lock on the temporary file
    };
    std::vector<File> files_;
};

} // namespace oxel::tools

#endif
