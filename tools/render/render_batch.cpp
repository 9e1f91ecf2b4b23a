#include "render/render_batch.h"

#include "base/failure.h"
#include "pictures/picture_threads.h"
#include "render/batch.h"
#include "render/batch_journal.h"
#include "render/describe_settings.h"
#include "render/progress.h"

#include <algorithm>
#include <array>
#include <iostream>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <mutex>
#include <optional>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

/// The next picture wants as much memory as the one before gives back. To get it anew from the
/// system, page by page, would take a tenth of a picture's time.
void keep_freed_memory() {
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024); // the most that is allowed
    mallopt(M_TRIM_THRESHOLD, 256 * 1024 * 1024);
#endif
}

class Batch {
  public:
    Batch(const BatchOptions &options, const RenderSettings &settings, const Panel &panel)
        : options_(options), settings_(settings), panel_(panel) {
        plan();
        for (const std::string &folder : {options.frames, options.previews, options.nominals})
            if (!folder.empty())
                make_folder(folder);
        journal_.emplace(options.frames, describe(settings, panel));
    }

    void run() {
        const int threads =
            static_cast<int>(std::min(jobs_.size(), static_cast<std::size_t>(options_.threads)));
        share_processors(threads);
        {
            Progress progress(jobs_.size(), !options_.quiet && !options_.json);
            for_each_parallel(jobs_.size(), threads, [&](std::size_t i) {
                outcomes_[i] = outcome_of(i);
                const Status status = outcomes_[i].status;
                progress.advance(status != Status::skipped, status == Status::failed);
                if (options_.json) {
                    const std::string line = json_line(settings_, jobs_[i], outcomes_[i]);
                    const std::lock_guard lock(output_mutex_);
                    std::cout << line << std::flush;
                }
            });
        }
        sync_folders();
        report();
    }

  private:
    /// Settles where each photograph's outputs go. What surely cannot be rendered fails now.
    void plan() {
        const std::vector<BatchPhoto> photos = collect_photos(options_.photos);
        if (photos.empty())
            throw Failure(options_.photos.front(), "holds no pictures");
        TakenFiles files;
        files.add_input(settings_.picture.panel);
        for (const BatchPhoto &photo : photos) {
            const auto output = [&](const fs::path &folder, const std::string &suffix) {
                return folder.empty() ? "" : (folder / photo.place).string() + suffix;
            };
            jobs_.push_back({photo.path, output(options_.frames, frame_suffix(settings_.frame)),
                             output(options_.previews, ".png"), output(options_.nominals, ".png")});
            outcomes_.push_back({Status::done, {}, {}});
            refuse_failing(jobs_.size() - 1, [&] { files.add_input(photo.path); });
        }
        for (std::size_t i = 0; i < jobs_.size(); ++i)
            refuse_failing(i, [&] {
                for (const std::string &path : {jobs_[i].frame, jobs_[i].preview, jobs_[i].nominal})
                    files.add_output(path);
            });
    }

    template <class Check>
    void refuse_failing(std::size_t i, Check check) {
        try {
            check();
        } catch (const std::exception &error) {
            outcomes_[i] = failed(jobs_[i], error);
        }
    }

    Outcome outcome_of(std::size_t i) {
        const RenderJob &job = jobs_[i];
        if (outcomes_[i].status == Status::failed)
            return outcomes_[i];
        if (options_.resume && journal_->is_up_to_date(job))
            return {Status::skipped, {}, {}};
        try {
            for (const std::string &output : {job.frame, job.preview, job.nominal})
                if (!output.empty())
                    make_folder(fs::path(output).parent_path());
            const FileVersion photo = file_version(job.photo);
            const RenderResult result = run_job(job, settings_, panel_);
            journal_->note(job, photo, result.outputs);
            return {Status::done, result, {}};
        } catch (const std::exception &error) {
            return failed(job, error);
        }
    }

    void report() const {
        std::array<std::size_t, 3> counts{};
        std::array<std::size_t, 3> verdicts{};
        for (std::size_t i = 0; i < jobs_.size(); ++i) {
            const Outcome &outcome = outcomes_[i];
            ++counts[static_cast<std::size_t>(outcome.status)];
            if (outcome.result.verdict)
                ++verdicts[static_cast<std::size_t>(*outcome.result.verdict)];
            if (outcome.status == Status::failed)
                std::cerr << "oxel: " << printable(jobs_[i].photo + ": " + outcome.reason) << '\n';
        }
        const auto &[done, skipped, failures] = counts;
        if (!options_.quiet && !options_.json) {
            std::cout << printable(options_.frames) << ": " << done << " rendered, " << skipped
                      << " up to date, " << failures << " failed\n";
            if (settings_.guard_threshold)
                std::cout << "guard: " << verdicts[0] << " passed, " << verdicts[1] << " shifted, "
                          << verdicts[2] << " blanked\n";
        }
        if (failures > 0)
            throw std::runtime_error(std::to_string(failures) + " of " +
                                     std::to_string(jobs_.size()) + " pictures failed");
    }

    const BatchOptions &options_;
    const RenderSettings &settings_;
    const Panel &panel_;
    std::vector<RenderJob> jobs_;
    std::vector<Outcome> outcomes_;
    std::optional<BatchJournal> journal_;
    std::mutex output_mutex_;
};

} // namespace

void render_batch(const BatchOptions &options, const RenderSettings &settings, const Panel &panel) {
    keep_freed_memory();
    Batch(options, settings, panel).run();
}

} // namespace oxel::tools
