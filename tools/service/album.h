#ifndef OXEL_TOOLS_ALBUM_H
#define OXEL_TOOLS_ALBUM_H

#include "base/descriptor.h"
#include "base/files.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace oxel::tools {

struct AlbumPicture {
    std::string name;     // below the album, with slashes
    std::int64_t changed; // nanoseconds since 1970
};

using AlbumListing = std::vector<AlbumPicture>; // by their names

/// A picture's file, open, and what it was when it was opened.
struct OpenPictureFile {
    Descriptor file;
    std::string identity; // of the file and its version, on this machine
    std::int64_t changed;

    /// A name by which the decoder finds just this file, whatever has its old name by now.
    std::string path() const;
};

/// The pictures in some folders and those below them. Nothing else can be reached: not what begins
/// with a dot, and nothing behind a link of any kind.
class Album {
  public:
    explicit Album(std::vector<std::string> folders);

    /// Looks again only where a folder has changed, or after a minute. Any number of threads may
    /// ask.
    std::shared_ptr<const AlbumListing> listing();

    /// Throws Failure if there is no such picture.
    OpenPictureFile open(const std::string &name) const;

    /// The folder that holds a picture, to read or write files beside it. Throws Failure.
    Descriptor open_folder_of(const std::string &name) const;

    const std::vector<std::string> &folders() const { return folders_; }

  private:
    struct Place {
        std::string folder;
        std::string rest; // of the name, in it
    };
    Place place_of(const std::string &name) const;
    bool is_unchanged() const;
    void look();

    const std::vector<std::string> folders_;
    std::mutex mutex_;
    std::shared_ptr<const AlbumListing> listing_;
    FileVersions looked_into_; // folders
    std::int64_t looked_at_ = 0;
};

/// Whether an album shows files of this name.
bool is_album_picture(const std::string &name);

/// The last part of a name, and what is before it.
std::string last_part(const std::string &name);
std::string without_last_part(const std::string &name);

/// A file beside a picture, in the folder that was opened. Nothing if there is none; at most so
/// many bytes of it.
std::string read_beside(const Descriptor &folder, const std::string &name, std::size_t most);

} // namespace oxel::tools

#endif
