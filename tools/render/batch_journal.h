#ifndef OXEL_TOOLS_BATCH_JOURNAL_H
#define OXEL_TOOLS_BATCH_JOURNAL_H

#include "render/render_job.h"

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace oxel::tools {

/// Remembers, in a file beside a batch's frames, of which photograph and with which settings each
/// of them was made. A file that has changed since, or was made by somebody else, is not the one
/// that was noted. So batches with other settings may share the folder, at the same time too.
class BatchJournal {
  public:
    /// `settings` are all that the frames depend on, in any form. Throws Failure.
    BatchJournal(const std::string &folder, std::string_view settings);

    /// Whether all that the job wants is there and was made of the photograph as it is, with these
    /// settings.
    bool is_up_to_date(const RenderJob &job) const;

    /// `photo` is the version that was there before it was read. Any number of threads may call
    /// this.
    void note(const RenderJob &job, FileVersion photo, const FileVersions &outputs);

  private:
    struct Entry {
        std::string settings;
        FileVersion photo;
        FileVersions outputs; // by their kinds
    };

    std::string name_in_folder(const RenderJob &job) const;
    void read_entries(std::string_view text);
    void tidy_up() const;

    const std::string folder_;
    const std::string path_;
    const std::string settings_;
    std::multimap<std::string, Entry> entries_; // by their frames, oldest first
    bool untidy_ = false;
    FileHandle file_;
    std::mutex mutex_;
};

} // namespace oxel::tools

#endif
