#include "command/picture_options.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace oxel::tools {

namespace {

const std::vector<std::string> fit_names = {"cover", "contain", "stretch", "attention"}; // enum Fit
const std::vector<std::string> white_balance_names = {"none", "auto", "grey"}; // enum WhiteBalance
const std::vector<std::string> inks_names = {"auto", "measured", "nominal", "off"}; // enum Inks
const std::vector<std::string> rotation_names = {"auto", "0", "90", "180", "270"};  // enum Rotation

ImageSize parse_size(const std::string &text) {
    ImageSize size{};
    const char *const end = text.data() + text.size();
    const auto width = std::from_chars(text.data(), end, size.width);
    if (width.ptr != end && *width.ptr == 'x')
        if (std::from_chars(width.ptr + 1, end, size.height).ptr == end && size.supported())
            return size;
    throw CLI::ValidationError("--size", "must be WIDTHxHEIGHT, at most 715827882 pixels");
}

std::array<std::uint8_t, 3> parse_colour(const std::string &text) {
    const std::string digits = text == "white"            ? "ffffff"
                               : text == "black"          ? "000000"
                               : text.substr(0, 1) == "#" ? text.substr(1)
                                                          : text;
    std::array<std::uint8_t, 3> colour{};
    bool right = digits.size() == 6;
    for (std::size_t i = 0; right && i < 3; ++i) {
        const char *const channel = digits.data() + 2 * i;
        right = std::from_chars(channel, channel + 2, colour[i], 16).ptr == channel + 2;
    }
    if (!right)
        throw CLI::ValidationError("--background", "must be white, black or RRGGBB");
    return colour;
}

/// As many lengths as the array holds, with commas between them.
template <std::size_t count>
std::array<PictureLength, count> parse_lengths(const char *option, const std::string &text) {
    std::array<PictureLength, count> lengths{};
    const char *place = text.data();
    const char *const end = place + text.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0 && (place == end || *place++ != ','))
            throw CLI::ValidationError(option, "must be " + std::to_string(count) +
                                                   " pixels or percents, with commas between them");
        const auto number = std::from_chars(place, end, lengths[i].value);
        place = number.ptr;
        if (place != end && *place == '%') {
            lengths[i].percent = true;
            ++place;
        }
        if (number.ec != std::errc() || !std::isfinite(lengths[i].value) ||
            (i + 1 == count && place != end))
            throw CLI::ValidationError(option, "must be " + std::to_string(count) +
                                                   " pixels or percents, with commas between them");
    }
    return lengths;
}

template <std::size_t count>
void add_lengths(CLI::App &command, const char *option,
                 std::optional<std::array<PictureLength, count>> &lengths, const char *names,
                 const char *description) {
    command
        .add_option_function<std::string>(
            option,
            [option, &lengths](const std::string &text) {
                lengths = parse_lengths<count>(option, text);
            },
            description)
        ->option_text(names);
}

void add_amount(CLI::App &command, const char *option, int &amount, int least, int most,
                const char *description) {
    command.add_option(option, amount, description)
        ->option_text("AMOUNT")
        ->check(CLI::Range(least, most))
        ->default_str(amount == 0 ? "" : std::to_string(amount));
}

void add_development_options(CLI::App &command, Development &development) {
    add_amount(command, "--clarity", development.clarity, -100, 100, "Contrast of larger detail");
    add_amount(command, "--sharpen", development.sharpen, 0, 200, "Contrast of the finest detail");
    add_amount(command, "--shadows", development.shadows, -100, 100, "Lighten what is dark");
    add_amount(command, "--highlights", development.highlights, -100, 100,
               "Lighten what is light; below 0, darken it");
    add_choice(command, "--white-balance", development.white_balance, white_balance_names,
               "Take a colour cast away");
    command.add_flag("--auto-levels", development.auto_levels,
                     "Stretch the picture's light from black to white");
    command.add_flag("--monochrome", development.monochrome, "Take all colour away");
}

void add_limit(CLI::App &command, const std::string &name, int &limit, const std::string &unit,
               const std::string &description) {
    command.add_option(name, limit, description)
        ->option_text(unit)
        ->default_str(std::to_string(limit))
        ->check(CLI::Range(1, 1'000'000));
}

} // namespace

const char *const picture_explanation = R"(
PHOTO is a JPEG, PNG, WebP, TIFF, GIF, HEIF, AVIF, JPEG XL, JPEG 2000, PNM or SVG, or, if its name
ends in .pdf, a PDF. Its colour profile and its orientation are applied, transparent parts become the
background, and of several pages or frames the first is taken.

Each picture is decoded in a process of its own that may do nothing else, and costs only itself: it
fails if it has more than --max-pixels millions of pixels, takes more than --max-memory megabytes, or
more than --timeout seconds of one processor (or thirty times that by the clock).

PANEL is the name of a built-in panel (see oxel panels), a LUT package, or a panel description in
JSON (see oxel package build). The picture gets the panel's size; with a package, which has none,
it keeps its own. --intent maps the colours that a panel with a description cannot show: perceptual
(the default), vivid or absolute, as oxel package build does.

--fit cover fills the size and cuts off the rest at both sides alike; attention cuts off what
catches the eye least; contain shows the whole picture on the background; stretch ignores the
aspect. --focus X,Y tells cover which place to keep as near to the middle as it can, --crop X,Y,W,H
takes a part of the picture first; lengths are pixels or, with %, hundredths of the upright picture's
sides. --rotate turns the stored pixels clockwise by degrees; auto turns them as the picture's
orientation says.

A photograph is developed at the panel's size: --white-balance takes away the cast of its light (auto
by its strong colours, grey by its mean), --auto-levels stretches its light until 1 pixel in 200 is
black and 1 in 200 white, --shadows and --highlights lighten (below 0: darken) what is dark or light
and keep the contrast of its detail, --clarity raises the contrast of what is some 15 pixels large,
--sharpen that of the finest detail, --monochrome leaves its luminance. Amounts are hundredths.

What the library gets is then prepared: dithered to the 64 levels a channel that a package tells
apart, so that skies and skin show no bands, and rendered from 128 mirrored rows above it, which are
cut off, so that its first rows are as good as the others (not with --guard, which measures what it
renders). With --no-prepare the library gets the picture's bytes as they are.

Flat areas, from 16 pixels on, that are exactly a pure colour that the panel has an ink for (--inks
nominal), an ink's measured colour (measured), or either (auto), become that ink and give no error to
what is beside them; so do smoothed edges between them and thin strokes on them, so that text has no
coloured fringe. Areas that melt into what is around them, as the lights of photographs do, stay as they
are, and so does what is not beside an ink. Text of SVGs is drawn without smoothing. With --no-prepare,
--guard and --dither none there are no inks.

The adjustments change the bytes of a picture at the panel's size: --hue adds degrees, --saturation and
--brightness add hundredths, --contrast 50 doubles the contrast and -50 removes it, --gamma is the
exponent of each channel, above 1 darker. Without any of them the picture stays as it is.
)";

std::string check_png_name(const std::string &name) {
    const bool other = is_picture_name(name) && !CLI::detail::to_lower(name).ends_with(".png");
    return other ? name + " would be a PNG, so its name must end in .png" : "";
}

CLI::Option *add_names(CLI::App &command, const std::string &name,
                       const std::function<void(std::size_t)> &choose,
                       const std::vector<std::string> &names, const std::string &description) {
    const auto find = [choose, names](const std::string &chosen) {
        choose(static_cast<std::size_t>(std::find(names.begin(), names.end(), chosen) -
                                        names.begin()));
    };
    return command.add_option_function<std::string>(name, find, description)
        ->check(CLI::IsMember(names));
}

CLI::Option *add_panel_option(CLI::App &command, std::string &panel) {
    return command.add_option("--panel", panel, "Built-in panel, package or description")
        ->option_text("PANEL")
        ->required();
}

CLI::Option *add_size_option(CLI::App &command, std::optional<ImageSize> &size,
                             const std::string &description) {
    return command
        .add_option_function<std::string>(
            "--size", [&size](const std::string &text) { size = parse_size(text); }, description)
        ->option_text("WxH");
}

void add_picture_options(CLI::App &command, PictureSettings &settings) {
    add_panel_option(command, settings.panel);
    add_size_option(command, settings.size, "Size of the picture instead of the panel's");
    command
        .add_option_function<std::string>(
            "--intent",
            [&settings](const std::string &name) {
                const std::vector<std::string> &names = intent_names();
                settings.intent = static_cast<Intent>(std::find(names.begin(), names.end(), name) -
                                                      names.begin());
            },
            "How colours that a described panel cannot show are mapped")
        ->check(CLI::IsMember(intent_names()));
    Framing &framing = settings.framing;
    add_choice(command, "--fit", framing.fit, fit_names, "How the picture fills the size");
    add_choice(command, "--rotate", framing.rotation, rotation_names, "Turn the picture clockwise");
    command
        .add_option_function<std::string>(
            "--background",
            [&framing](const std::string &text) { framing.background = parse_colour(text); },
            "Colour beside and behind the picture")
        ->option_text("RRGGBB")
        ->default_str("white");
    add_lengths(command, "--crop", framing.crop, "X,Y,W,H", "Take a part of the picture");
    add_lengths(command, "--focus", framing.focus, "X,Y", "Place that --fit cover keeps central");
    add_development_options(command, settings.development);
    add_choice(command, "--inks", settings.inks, inks_names,
               "Which flat colours are inks, and not diffused");
    command.add_flag("--no-prepare", settings.bare,
                     "Give the library the picture's bytes as they are");
    Adjustment &adjustment = settings.adjustment;
    command.add_option("--hue", adjustment.hue, "Degrees to add to the hue")
        ->option_text("DEGREES");
    command
        .add_option("--saturation", adjustment.saturation, "Hundredths to add to the saturation")
        ->option_text("AMOUNT");
    command.add_option("--brightness", adjustment.brightness, "Hundredths to add to the lightness")
        ->option_text("AMOUNT");
    command.add_option("--contrast", adjustment.contrast, "Fiftieths to add to the contrast")
        ->option_text("AMOUNT");
    command.add_option("--gamma", adjustment.gamma, "Exponent of each channel")
        ->option_text("EXPONENT")
        ->check([](const std::string &text) {
            double exponent = 0;
            const bool positive = CLI::detail::lexical_cast(text, exponent) && exponent > 0;
            return positive ? "" : "must be a number above 0";
        });
    add_limit(command, "--max-pixels", settings.limits.megapixels, "MILLIONS",
              "Refuse pictures with more pixels");
    add_limit(command, "--max-memory", settings.limits.megabytes, "MB",
              "Refuse pictures that take more memory");
    add_limit(command, "--timeout", settings.limits.seconds, "SECONDS",
              "Refuse pictures that take longer");
}

} // namespace oxel::tools
