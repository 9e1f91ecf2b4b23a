#include "command/commands.h"

#include "base/failure.h"
#include "command/frame_options.h"
#include "command/picture_options.h"
#include "command/render_options.h"
#include "package_builder/package_file.h"
#include "render/batch.h"
#include "render/render_batch.h"

#include <algorithm>
#include <iostream>
#include <thread>
#include <unistd.h>

namespace oxel::tools {

namespace fs = std::filesystem;

namespace {

const std::string render_explanation = std::string(picture_explanation) + frame_explanation() + R"(
The PNGs show the picture before the driving layout, in measured and in pure colours.

--guard rejects a rendering whose mix of colours changes too strongly between line pairs: it passed,
or the picture was shifted down by one row, or it was blanked to the panel's first colour. See oxel
guard for how to choose the threshold.

PHOTO - is a picture on the standard input, FRAME - the standard output.

Several photographs, a folder (with those below it, but not behind links) or the names of --list
(one on a line, or NUL-terminated) make a batch: FRAME and the PNGs are then folders, in which each
photograph gets its own name with .bin (.png, .bmp or .h for frames of that kind) or .png added,
below the name of its folder if several are given. A photograph that fails does not stop the others;
the end names it. With --resume a batch skips what is up to date: what was made after its
photograph's last change, with the same panel and options.

A photograph's files appear when all of them are whole, also when the program is interrupted; after
a failure there are none.

The default diffusion is floyd-serpentine: the others round small errors away, which turns the
darkest tones black and the lightest white. With none every pixel becomes what the package's tables
give it, for drawings and screenshots.

Examples:
  oxel render photo.jpg --panel six-colour -o frame.bin --preview preview.png
  oxel render photo.jpg --panel panel.json --fit contain --dither floyd -o frame.bin
  oxel render photo.jpg --panel panel.lut --size 800x480 --frame packed4 -o frame.bin
  oxel render photos/ --panel six-colour -o frames/ --preview previews/ --resume
  oxel render photo.jpg --panel six-colour -o frame.png.gz
  curl https://example.org/now.jpg | oxel render - --panel six-colour -o - >frame.bin
  find photos -name '*.jpg' -print0 | oxel render --list - --panel six-colour -o frames/)";

struct RenderOptions {
    std::vector<std::string> photos;
    std::string list;
    std::string frame;
    std::string preview;
    std::string nominal;
    RenderSettings settings;
    int jobs = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    bool json = false;
    bool quiet = false;
    bool resume = false;
};

void render_single(const RenderOptions &options, const Panel &panel) {
    const RenderJob job = {options.photos.front(), options.frame, options.preview, options.nominal};
    RenderResult result;
    try {
        result = run_job(job, options.settings, panel);
    } catch (const std::exception &error) {
        if (options.json)
            std::cout << json_line(options.settings, job, failed(job, error));
        throw;
    }
    if (options.json)
        std::cout << json_line(options.settings, job, {Status::done, result, {}});
    if (options.json || options.quiet)
        return;
    std::ostream &report = job.frame == "-" ? std::cerr : std::cout;
    report << (job.frame == "-" ? "frame" : printable(job.frame)) << ": "
           << result.frame_size.text() << ", " << result.frame_bytes << " bytes\n";
    for (const std::string &png : {job.preview, job.nominal})
        if (!png.empty())
            report << printable(png) << ": " << result.picture_size.text() << '\n';
    if (result.verdict)
        report << "guard: " << verdict_name(*result.verdict) << '\n';
}

bool is_batch(const RenderOptions &options) {
    std::error_code unknown;
    return !options.list.empty() || options.photos.size() > 1 ||
           fs::is_directory(options.photos.front(), unknown) || options.frame.ends_with('/') ||
           fs::is_directory(options.frame, unknown);
}

/// A frame goes to the standard output alone, and to no person's screen.
void check_standard_output(const RenderOptions &options, bool batch) {
    if (options.frame != "-")
        return;
    if (batch)
        throw CLI::ValidationError("-o", "- takes a single frame");
    if (options.json)
        throw CLI::ValidationError("--json", "would write where the frame of -o - goes");
    if (isatty(STDOUT_FILENO))
        throw CLI::ValidationError("-o", "- would write a frame to the terminal");
}

void run(RenderOptions options) {
    RenderSettings &settings = options.settings;
    if (options.photos.empty() && options.list.empty())
        throw CLI::RequiredError("PHOTO or --list");
    const bool batch = is_batch(options);
    // What is wrong with the command line is told before any work.
    check_render_options(settings);
    settings.frame = settle_frame_options(settings.frame, batch ? "" : options.frame);
    check_standard_output(options, batch);
    if (!options.list.empty())
        for (std::string &name : listed_names(options.list))
            options.photos.push_back(std::move(name));
    if (!batch) {
        check_outputs({options.frame == "-" ? "" : options.frame, options.preview, options.nominal},
                      {options.photos.front(), settings.picture.panel});
    }
    Panel panel = open_panel(settings.picture.panel, tuning_of(settings), settings.picture.intent);
    panel.layout = settings.frame.layout.value_or(panel.layout);
    adopt_package(panel.source, panel.package);
    if (settings.frame.content == FrameContent::index)
        write_indices_for_codes();
    if ((!options.nominal.empty() || settings.frame.content == FrameContent::nominal) &&
        read_package_fields(panel.package)->colours != 6)
        throw Failure(panel.source, "--nominal needs a panel of six colours");
    if (batch)
        render_batch({options.photos, options.frame, options.preview, options.nominal, options.jobs,
                      options.json, options.quiet, options.resume},
                     settings, panel);
    else
        render_single(options, panel);
    if (!options.quiet)
        note_missing_layout(panel, settings.frame.layout);
}

} // namespace

void add_render_command(CLI::App &app) {
    const auto options = std::make_shared<RenderOptions>();
    RenderSettings &settings = options->settings;
    CLI::App *command = app.add_subcommand("render", "Render pictures for a panel");
    command->footer(render_explanation);
    command->add_option("PHOTO", options->photos,
                        "Pictures, folders of pictures, or - for one on the standard input");
    command->add_option("--list", options->list, "File of names of pictures, or -")
        ->option_text("FILE");
    command->add_option("-o", options->frame, "Where the frame or the frames go")
        ->option_text("FRAME")
        ->required();
    command->add_option("--preview", options->preview, "Also write it in measured colours")
        ->option_text("PNG")
        ->check(check_png_name);
    command
        ->add_option("--nominal", options->nominal,
                     "Also write it in pure colours (six-colour panels)")
        ->option_text("PNG")
        ->check(check_png_name);
    add_render_options(*command, settings);
    command->add_option("-j,--jobs", options->jobs, "Pictures at once; all processors by default")
        ->option_text("COUNT")
        ->check(CLI::Range(1, 1024));
    command->add_flag("--resume", options->resume, "Skip what is up to date");
    command->add_flag("--json", options->json, "Report each picture as a line of JSON");
    command->add_flag("--quiet", options->quiet, "Report failures only");
    command->callback([options] { run(*options); });
}

} // namespace oxel::tools
