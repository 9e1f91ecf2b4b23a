#ifndef OXEL_TOOLS_FILES_H
#define OXEL_TOOLS_FILES_H

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace oxel::tools {

using Bytes = std::vector<std::uint8_t>;

/// Throws Failure if the file cannot be read to its end.
Bytes read_file(const std::string &path);

/// Throws Failure if an output is also an input or another output, or is something that a file
/// must not replace: a folder, a device. Empty names are outputs that nobody asked for.
void check_outputs(const std::vector<std::string> &outputs, const std::vector<std::string> &inputs);

/// The output files of one job, which appear together: each is written beside its target under a
/// temporary name, and takes the target's place only when all are whole. Temporary files that are
/// left, after a failure, disappear with the object.
class OutputFiles {
  public:
    OutputFiles() = default;
    OutputFiles(const OutputFiles &) = delete;
    OutputFiles &operator=(const OutputFiles &) = delete;
    ~OutputFiles();

    void write(const std::string &path, std::span<const std::uint8_t> bytes);
    void publish();

  private:
    struct File {
        std::string path; // as the user wrote it
        std::filesystem::path temporary;
        std::filesystem::path target;
    };
    std::vector<File> files_;
};

} // namespace oxel::tools

#endif
