#include "render_command.h"

#include "batch.h"
#include "failure.h"
#include "package_builder/package_file.h"
#include "progress.h"
#include "render_job.h"
#include "vips_session.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <iostream>
#include <mutex>
#include <thread>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

const std::vector<std::string> verdict_names = {"passed", "shifted", "blanked"};

const std::string explanation = picture_explanation + frame_explanation + R"(
The PNGs show the picture before the driving layout, in measured and in pure colours.

--guard rejects a rendering whose mix of colours changes too strongly between line pairs: it passed,
or the picture was shifted down by one row, or it was blanked to the panel's first colour. See oxel
guard for how to choose the threshold.

Several photographs, a folder (with those below it) or - (names on the standard input, one on a
line or NUL-terminated) make a batch: FRAME and the PNGs are then folders, in which each photograph
gets its own name with .bin or .png added. A photograph that fails does not stop the others; the end
names it. With --resume what is up to date is skipped: what was made after its photograph's last
change, with the same panel and options.

A photograph's files appear when all of them are whole, also when the program is interrupted; after
a failure there are none.

The default diffusion is floyd-serpentine: the others round small errors away, which turns the
darkest tones black and the lightest white.

Examples:
  oxel render photo.jpg --panel six-colour -o frame.bin --preview preview.png
  oxel render photo.jpg --panel panel.json --fit contain --dither floyd -o frame.bin
  oxel render photo.jpg --panel panel.lut --size 800x480 --frame packed4 -o frame.bin
  oxel render photos/ --panel six-colour -o frames/ --preview previews/ --resume
  find photos -name '*.jpg' -print0 | oxel render - --panel six-colour -o frames/)";

struct RenderOptions {
    std::vector<std::string> photos;
    std::string frame;
    std::string preview;
    std::string nominal;
    RenderSettings settings;
    int jobs = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    bool json = false;
    bool quiet = false;
    bool resume = false;
};

enum class Status { done, skipped, failed };

struct Outcome {
    Status status = Status::failed;
    RenderResult result{};
    std::string reason;
};

Outcome failed(const RenderJob &job, const std::exception &error) {
    if (const auto *failure = dynamic_cast<const Failure *>(&error))
        return {
            Status::failed, {}, failure->file() == job.photo ? failure->reason() : error.what()};
    const bool memory = dynamic_cast<const std::bad_alloc *>(&error);
    return {Status::failed, {}, memory ? "out of memory" : error.what()};
}

/// One line about one photograph.
std::string json_line(const RenderOptions &options, const RenderJob &job, const Outcome &outcome) {
    static const char *const statuses[] = {"done", "skipped", "failed"};
    nlohmann::ordered_json line = {{"photo", job.photo},
                                   {"status", statuses[static_cast<int>(outcome.status)]}};
    if (outcome.status == Status::failed) {
        line["reason"] = outcome.reason;
    } else {
        line["frame"] = job.frame;
        if (!job.preview.empty())
            line["preview"] = job.preview;
        if (!job.nominal.empty())
            line["nominal"] = job.nominal;
    }
    if (outcome.status == Status::done) {
        line["width"] = outcome.result.frame_size.width;
        line["height"] = outcome.result.frame_size.height;
        line["bytes"] = outcome.result.frame_bytes;
    }
    if (const auto verdict = outcome.result.verdict)
        line["guard"] = {{"threshold", *options.settings.guard_threshold},
                         {"verdict", verdict_names[static_cast<std::size_t>(*verdict)]}};
    return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

void render_single(const RenderOptions &options, const Panel &panel) {
    const RenderJob job = {options.photos.front(), options.frame, options.preview, options.nominal};
    RenderResult result;
    try {
        result = run_job(job, options.settings, panel);
    } catch (const std::exception &error) {
        if (options.json)
            std::cout << json_line(options, job, failed(job, error));
        throw;
    }
    if (options.json)
        std::cout << json_line(options, job, {Status::done, result, {}});
    if (options.json || options.quiet)
        return;
    std::cout << job.frame << ": " << result.frame_size.text() << ", " << result.frame_bytes
              << " bytes\n";
    for (const std::string &png : {job.preview, job.nominal})
        if (!png.empty())
            std::cout << png << ": " << result.picture_size.text() << '\n';
    if (result.verdict)
        std::cout << "guard: " << verdict_names[static_cast<std::size_t>(*result.verdict)] << '\n';
}

bool is_batch(const RenderOptions &options) {
    const std::string &photo = options.photos.front();
    std::error_code unknown;
    return options.photos.size() > 1 || photo == "-" || fs::is_directory(photo, unknown) ||
           options.frame.ends_with('/') || fs::is_directory(options.frame, unknown);
}

/// Notes in the folder of the frames how they are made, and returns since when they are made so.
fs::file_time_type note_settings(const RenderOptions &options, const Panel &panel) {
    const RenderSettings &settings = options.settings;
    const PictureOptions &picture = settings.picture;
    const Adjustment &amounts = picture.adjustment;
    const nlohmann::ordered_json note = {
        {"library", library_version()},
        {"package", package_crc(panel.package)},
        {"layout", panel.layout},
        {"size", picture.size ? picture.size->text()
                 : panel.size ? panel.size->text()
                              : ""},
        {"framing", {picture.framing.fit, picture.framing.rotation, picture.framing.background}},
        {"adjustment",
         {amounts.hue, amounts.saturation, amounts.brightness, amounts.contrast, amounts.gamma}},
        {"dither", settings.dithering_mode},
        {"guard", settings.guard_threshold ? std::to_string(*settings.guard_threshold) : ""},
        {"frame", {settings.frame.content, settings.frame.format}},
    };
    const std::string text = note.dump(1) + "\n";
    const std::string path = fs::path(options.frame) / ".oxel-render.json";
    const Bytes bytes(text.begin(), text.end());
    if (!fs::exists(path) || read_file(path) != bytes) {
        OutputFiles output;
        output.write(path, bytes);
        output.publish();
    }
    return fs::last_write_time(path);
}

bool is_up_to_date(const RenderJob &job, fs::file_time_type settings_time) {
    std::error_code missing;
    const auto photo_time = fs::last_write_time(job.photo, missing);
    for (const std::string &output : {job.frame, job.preview, job.nominal}) {
        if (output.empty())
            continue;
        const auto time = fs::last_write_time(output, missing);
        if (missing || time <= photo_time || time < settings_time)
            return false;
    }
    return true;
}

class Batch {
  public:
    Batch(const RenderOptions &options, const Panel &panel) : options_(options), panel_(panel) {
        plan();
        for (const std::string &folder : {options.frame, options.preview, options.nominal})
            if (!folder.empty())
                make_folder(folder);
        settings_time_ = note_settings(options, panel);
    }

    void run() {
        const int threads =
            static_cast<int>(std::min(jobs_.size(), static_cast<std::size_t>(options_.jobs)));
        share_processors(threads);
        {
            Progress progress(jobs_.size(), !options_.quiet && !options_.json);
            for_each_parallel(jobs_.size(), threads, [&](std::size_t i) {
                outcomes_[i] = outcome_of(i);
                const Status status = outcomes_[i].status;
                progress.advance(status != Status::skipped, status == Status::failed);
                if (options_.json) {
                    const std::string line = json_line(options_, jobs_[i], outcomes_[i]);
                    const std::lock_guard lock(output_mutex_);
                    std::cout << line << std::flush;
                }
            });
        }
        report();
    }

  private:
    static void make_folder(const fs::path &folder) {
        std::error_code error;
        fs::create_directories(folder, error);
        if (!fs::is_directory(folder))
            throw Failure(folder, error ? error.message()
                                        : "is not a folder, which a batch of photographs needs");
    }

    /// Lays down the outputs of each photograph. What cannot be rendered for sure fails now.
    void plan() {
        const std::vector<BatchPhoto> photos = collect_photos(options_.photos);
        if (photos.empty())
            throw Failure(options_.photos.front(), "holds no pictures");
        TakenFiles files;
        files.add_input(options_.settings.picture.panel);
        for (const BatchPhoto &photo : photos)
            files.add_input(photo.path);
        outcomes_.resize(photos.size());
        for (const BatchPhoto &photo : photos) {
            const auto output = [&](const fs::path &folder, const char *suffix) {
                return folder.empty() ? "" : (folder / photo.place).string() + suffix;
            };
            jobs_.push_back({photo.path, output(options_.frame, ".bin"),
                             output(options_.preview, ".png"), output(options_.nominal, ".png")});
            try {
                for (const std::string &path :
                     {jobs_.back().frame, jobs_.back().preview, jobs_.back().nominal})
                    files.add_output(path);
            } catch (const Failure &failure) {
                outcomes_[jobs_.size() - 1] = failed(jobs_.back(), failure);
            }
        }
    }

    Outcome outcome_of(std::size_t i) const {
        const RenderJob &job = jobs_[i];
        if (!outcomes_[i].reason.empty())
            return outcomes_[i];
        if (options_.resume && is_up_to_date(job, settings_time_))
            return {Status::skipped, {}, {}};
        try {
            for (const std::string &output : {job.frame, job.preview, job.nominal})
                if (!output.empty())
                    make_folder(fs::path(output).parent_path());
            return {Status::done, run_job(job, options_.settings, panel_), {}};
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
                std::cerr << "oxel: " << jobs_[i].photo << ": " << outcome.reason << '\n';
        }
        const auto &[done, skipped, failures] = counts;
        if (!options_.quiet && !options_.json) {
            std::cout << options_.frame << ": " << done << " rendered, " << skipped
                      << " up to date, " << failures << " failed\n";
            if (options_.settings.guard_threshold)
                std::cout << "guard: " << verdicts[0] << " passed, " << verdicts[1] << " shifted, "
                          << verdicts[2] << " blanked\n";
        }
        if (failures > 0)
            throw std::runtime_error(std::to_string(failures) + " of " +
                                     std::to_string(jobs_.size()) + " pictures failed");
    }

    const RenderOptions &options_;
    const Panel &panel_;
    std::vector<RenderJob> jobs_;
    std::vector<Outcome> outcomes_;
    fs::file_time_type settings_time_;
    std::mutex output_mutex_;
};

void run(const RenderOptions &options) {
    const RenderSettings &settings = options.settings;
    file_format(settings.frame); // tells a wrong command line before any work
    const bool batch = is_batch(options);
    if (!batch)
        check_outputs({options.frame, options.preview, options.nominal},
                      {options.photos.front(), settings.picture.panel});
    Panel panel = open_panel(settings.picture.panel);
    panel.layout = settings.frame.layout.value_or(panel.layout);
    adopt_package(panel.source, panel.package);
    if (settings.frame.content == FrameContent::index)
        write_indices_for_codes();
    if ((!options.nominal.empty() || settings.frame.content == FrameContent::nominal) &&
        read_package_fields(panel.package)->colours != 6)
        throw Failure(panel.source, "--nominal needs a panel of six colours");
    if (batch)
        Batch(options, panel).run();
    else
        render_single(options, panel);
}

} // namespace

void add_render_command(CLI::App &app) {
    const auto options = std::make_shared<RenderOptions>();
    RenderSettings &settings = options->settings;
    CLI::App *command = app.add_subcommand("render", "Render pictures for a panel");
    command->footer(explanation);
    command->add_option("PHOTO", options->photos, "Pictures, folders of pictures, or - for a list")
        ->required();
    command->add_option("-o", options->frame, "Where the frame or the frames go")
        ->option_text("FRAME")
        ->required();
    command->add_option("--preview", options->preview, "Also write it in measured colours")
        ->option_text("PNG");
    command
        ->add_option("--nominal", options->nominal,
                     "Also write it in pure colours (six-colour panels)")
        ->option_text("PNG");
    add_picture_options(*command, settings.picture);
    add_choice(*command, "--dither", settings.dithering_mode, dither_names, "Error diffusion");
    command->add_option("--guard", settings.guard_threshold, "Reject renderings from this measure")
        ->option_text("THRESHOLD");
    add_frame_options(*command, settings.frame);
    command->add_option("-j,--jobs", options->jobs, "Pictures at once; all processors by default")
        ->option_text("COUNT")
        ->check(CLI::Range(1, 1024));
    command->add_flag("--resume", options->resume, "Skip what is up to date");
    command->add_flag("--json", options->json, "Report each picture as a line of JSON");
    command->add_flag("--quiet", options->quiet, "Report failures only");
    command->callback([options] { run(*options); });
}

} // namespace oxel::tools
