#ifndef OXEL_TOOLS_FRAME_STORE_H
#define OXEL_TOOLS_FRAME_STORE_H

#include "base/bytes.h"
#include "service/kept_bytes.h"
#include "service/response.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

namespace oxel::tools {

/// Throws Failure.
Bytes read_open_file(const OpenFile &file);

/// Files that can be made again, in a folder that several processes share: each is there whole or
/// not at all, and what was not asked for for the longest time goes first when there are too many
/// bytes.
class FrameStore {
  public:
    /// Makes the folder. Throws Failure.
    FrameStore(std::string folder, std::uint64_t most_bytes);

    /// Names are digests with suffixes.
    std::optional<OpenFile> find(const std::string &name);

    /// The same, in memory; null for what is too large for that, or not there. What is in memory is
    /// given even if its file has gone since.
    std::shared_ptr<const Bytes> find_kept(const std::string &name);

    /// What was not asked for for longest goes if the disk is full. Throws Failure.
    OpenFile put(const std::string &name, std::span<const std::uint8_t> bytes);

    /// The same in memory only, for as long as there is room for it: where no file can be written.
    OpenFile hold(const std::string &name, std::span<const std::uint8_t> bytes);

    /// A file without a name in the same place, for what is on its way. Throws Failure.
    Descriptor nameless() const;

    std::uint64_t bytes() const;

  private:
    /// So many bytes are to go even if there are not too many.
    void tidy(std::uint64_t missing);

    const std::string folder_;
    const std::uint64_t most_bytes_;
    mutable std::mutex mutex_;
    std::uint64_t bytes_ = 0;    // when it was looked at, and what was put there since
    std::uint64_t unlooked_ = 0; // put there since
    KeptBytes kept_;
};

} // namespace oxel::tools

#endif
