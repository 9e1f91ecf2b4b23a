#include "reports/package_report.h"

#include "package_builder/cells.h"
#include "pictures/picture_files.h"
#include "render/library.h"

#include <glib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <unistd.h>

namespace oxel::tools {

namespace {

RgbBytes rgb_of(const Vector3 &light) {
    return to_bytes(srgb_from_light(light));
}

std::string fixed(double number, int decimals = 1) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(decimals) << number;
    return text.str();
}

std::string triple(const RgbBytes &rgb) {
    return std::to_string(rgb[0]) + " " + std::to_string(rgb[1]) + " " + std::to_string(rgb[2]);
}

std::string css(const RgbBytes &rgb) {
    std::ostringstream text;
    text << '#' << std::hex << std::setfill('0');
    for (const std::uint8_t byte : rgb)
        text << std::setw(2) << int(byte);
    return text.str();
}

std::string escape(const std::string &text) {
    char *const escaped = g_markup_escape_text(text.c_str(), -1);
    std::string copy = escaped;
    g_free(escaped);
    return copy;
}

std::string gamut_size(const Characterisation &panel) {
    const auto lightness = [&](std::size_t index) {
        return fixed(lab_from_light(panel.lights()[index])[0]);
    };
    return fixed(panel.lab_volume(), 0) + " cubic CIELAB units, L* " + lightness(panel.black()) +
           " to " + lightness(panel.white());
}

/// A drawing in SVG of points in CIE L*a*b*, seen along an axis.
class LabView {
  public:
    /// `across` and `up` are the axes of the drawing, `depth` the one that it is seen along, from
    /// its upper end if `from_above`. a* and b* reach from -`reach` to `reach`.
    LabView(std::string title, std::size_t across, std::size_t up, std::size_t depth,
            bool from_above, double reach)
        : title_(std::move(title)), across_(across), up_(up), depth_(depth),
          from_above_(from_above), reach_(reach) {}

    void add_triangle(const std::array<Vector3, 3> &lab, const RgbBytes &colour) {
        const double depth = lab[0][depth_] + lab[1][depth_] + lab[2][depth_];
        std::string points;
        for (const Vector3 &corner : lab)
            points += fixed(x(corner)) + "," + fixed(y(corner)) + " ";
        const std::string fill = css(colour);
        shapes_.push_back({from_above_ ? depth : -depth, "<polygon points='" + points + "' fill='" +
                                                             fill + "' stroke='" + fill + "'/>"});
    }

    void add_ink(const Vector3 &lab, const RgbBytes &colour, const std::string &name) {
        const bool turned = x(lab) > 270; // its name would leave the drawing
        inks_ += "<circle cx='" + fixed(x(lab)) + "' cy='" + fixed(y(lab)) + "' r='6' fill='" +
                 css(colour) + "' stroke='#000'/><text x='" + fixed(x(lab) + (turned ? -9 : 9)) +
                 "' y='" + fixed(y(lab) + 4) + "' text-anchor='" + (turned ? "end" : "start") +
                 "'>" + escape(name) + "</text>";
    }

    std::string svg() {
        std::stable_sort(shapes_.begin(), shapes_.end(),
                         [](const Shape &a, const Shape &b) { return a.depth < b.depth; });
        std::string text = "<svg viewBox='0 0 330 330'><text x='165' y='14' class='title'>" +
                           title_ + "</text>" + grid();
        for (const Shape &shape : shapes_)
            text += shape.svg;
        return text + inks_ + "</svg>\n";
    }

  private:
    struct Shape {
        double depth;
        std::string svg;
    };

    double low(std::size_t axis) const { return axis == 0 ? 0 : -reach_; }
    double high(std::size_t axis) const { return axis == 0 ? 100 : reach_; }

    double place(double value, std::size_t axis) const {
        return 280 * (value - low(axis)) / (high(axis) - low(axis));
    }

    double x(const Vector3 &lab) const { return 35 + place(lab[across_], across_); }
    double y(const Vector3 &lab) const { return 305 - place(lab[up_], up_); }

    std::string grid() const {
        std::string lines;
        for (double v = -reach_; v <= std::max(reach_, 100.0); v += 20) {
            if (v >= low(across_) && v <= high(across_)) {
                const std::string at = fixed(35 + place(v, across_));
                lines += "<line x1='" + at + "' x2='" + at + "' y1='25' y2='305'/><text x='" + at +
                         "' y='318' class='tick'>" + fixed(v, 0) + "</text>";
            }
            if (v >= low(up_) && v <= high(up_)) {
                const double at = 305 - place(v, up_);
                lines += "<line y1='" + fixed(at) + "' y2='" + fixed(at) +
                         "' x1='35' x2='315'/><text x='18' y='" + fixed(at + 3) +
                         "' class='tick'>" + fixed(v, 0) + "</text>";
            }
        }
        return lines;
    }

    std::string title_;
    std::size_t across_;
    std::size_t up_;
    std::size_t depth_;
    bool from_above_;
    double reach_;
    std::vector<Shape> shapes_;
    std::string inks_;
};

/// How far from grey a drawing has to reach: 80, or 120 for panels that have the purest of sRGB.
double lab_reach(const Characterisation &panel) {
    double most = 0;
    for (const Vector3 &light : panel.lights()) {
        const Vector3 lab = lab_from_light(light);
        most = std::max({most, std::abs(lab[1]), std::abs(lab[2])});
    }
    return most <= 80 ? 80 : 120;
}

/// The surface in small triangles, each in its own colour.
void add_gamut(LabView &view, const PackageReport &report) {
    const std::vector<Vector3> &lights = report.panel.lights();
    const int cuts = report.panel.facets().size() > 40 ? 3 : 10;
    for (const HullFacet &facet : report.panel.facets()) {
        const auto light_at = [&](int i, int j) {
            return 1.0 / cuts *
                   (double(cuts - i - j) * lights[facet.corners[0]] +
                    double(i) * lights[facet.corners[1]] + double(j) * lights[facet.corners[2]]);
        };
        const auto add = [&](const Vector3 &a, const Vector3 &b, const Vector3 &c) {
            view.add_triangle({lab_from_light(a), lab_from_light(b), lab_from_light(c)},
                              rgb_of(1.0 / 3 * (a + b + c)));
        };
        for (int i = 0; i < cuts; ++i)
            for (int j = 0; i + j < cuts; ++j) {
                add(light_at(i, j), light_at(i + 1, j), light_at(i, j + 1));
                if (i + j + 2 <= cuts)
                    add(light_at(i + 1, j), light_at(i + 1, j + 1), light_at(i, j + 1));
            }
    }
    for (std::size_t i = 0; i < lights.size(); ++i)
        view.add_ink(lab_from_light(lights[i]), report.panel.palette()[i],
                     lights.size() <= 16 ? report.description.colour_names[i] : "");
}

std::string palette_table(const PackageReport &report) {
    std::string rows = "<table><tr><th>index<th><th>name<th>sRGB<th>L*<th>a*<th>b*<th>TCON<th>"
                       "share of cells</tr>\n";
    const std::vector<std::uint8_t> &cells = report.tables.quantisation;
    for (std::size_t i = 0; i < report.panel.palette().size(); ++i) {
        const RgbBytes &rgb = report.panel.palette()[i];
        const Vector3 lab = lab_from_light(report.panel.lights()[i]);
        const auto uses = double(std::count(cells.begin(), cells.end(), i));
        rows += "<tr><td>" + std::to_string(i) + "<td style='background:" + css(rgb) + "'><td>" +
                escape(report.description.colour_names[i]) + "<td>" + triple(rgb) + "<td>" +
                fixed(lab[0]) + "<td>" + fixed(lab[1]) + "<td>" + fixed(lab[2]) + "<td>" +
                std::to_string(report.description.colours[i].tcon) + "<td>" +
                fixed(100 * uses / package_cells) + " %</tr>\n";
    }
    return rows + "</table>\n";
}

std::string mode_table(const PackageReport &report) {
    std::string rows =
        "<table><tr><th>dithering<th>mean<th>95 %<th>worst<th>wanted<th>shown<th>greys: back"
        "<th>jump<th>cast</tr>\n";
    for (std::size_t mode = 0; mode < dithering_modes; ++mode) {
        const DifferenceSummary summary = summarise(report.patches, mode);
        const ShownPatch &worst = report.patches[summary.worst];
        rows += "<tr><td>" + dither_names[mode] + "<td>" + fixed(summary.mean, 2) + "<td>" +
                fixed(summary.percentile95, 2) + "<td>" + fixed(summary.largest, 2) +
                "<td style='background:" + css(rgb_of(worst.wanted)) +
                "'><td style='background:" + css(rgb_of(worst.shown[mode])) + "'><td>" +
                fixed(report.greys[mode].step_back) + "<td>" + fixed(report.greys[mode].jump) +
                "<td>" + fixed(report.greys[mode].cast) + "</tr>\n";
    }
    return rows + "</table>\n";
}

/// The palette colours of the cells of one step of blue; red to the right, green up.
std::string slice(const PackageReport &report, std::size_t blue) {
    constexpr auto side = static_cast<std::int32_t>(cell_steps);
    Bytes image;
    for (std::size_t row = 0; row < cell_steps; ++row)
        for (std::size_t red = 0; red < cell_steps; ++red) {
            const std::size_t green = cell_steps - 1 - row;
            const std::size_t index =
                report.tables.quantisation[(red * cell_steps + green) * cell_steps + blue];
            const RgbBytes &rgb = report.panel.palette()[index];
            image.insert(image.end(), rgb.begin(), rgb.end());
        }
    const Bytes png = encode_png("report", image, {side, side});
    char *const text = g_base64_encode(png.data(), png.size());
    const std::string figure = std::string("<figure><img alt='' src='data:image/png;base64,") +
                               text + "'><figcaption>B " + std::to_string(4 * blue) + " to " +
                               std::to_string(4 * blue + 3) + "</figcaption></figure>\n";
    g_free(text);
    return figure;
}

std::string patch_drawing(const ShownPatch &patch, const std::string &caption) {
    constexpr std::size_t floyd_serpentine = 1;
    return "<figure class='patch'><span style='background:" + css(rgb_of(patch.wanted)) +
           "'></span><span style='background:" + css(rgb_of(patch.shown[floyd_serpentine])) +
           "'></span><figcaption>" + caption + "</figcaption></figure>\n";
}

std::string patch_drawings(const PackageReport &report) {
    std::vector<const ShownPatch *> patches;
    for (const ShownPatch &patch : report.patches)
        patches.push_back(&patch);
    std::stable_sort(patches.begin(), patches.end(), [](const auto *a, const auto *b) {
        return a->difference(1) > b->difference(1);
    });
    std::string drawings;
    for (std::size_t i = 0; i < std::min<std::size_t>(patches.size(), 72); ++i)
        drawings += patch_drawing(*patches[i], fixed(patches[i]->difference(1), 2));
    return drawings;
}

std::string grey_drawings(const PackageReport &report) {
    std::vector<RgbBytes> greys;
    for (int byte = 0; byte < 256; byte += 12)
        greys.push_back(to_bytes({double(byte), double(byte), double(byte)}));
    std::string drawings;
    for (const ShownPatch &patch : show_patches(
             report.panel, GamutMapping(report.panel, report.options.intent), report.tables, greys))
        drawings += patch_drawing(patch, fixed(patch.difference(1), 2));
    return drawings;
}

constexpr const char *style = R"(<style>
body { font: 13px/1.4 sans-serif; color: #222; max-width: 1080px; margin: 24px auto; }
h1 { font-size: 22px; margin: 0 0 4px; } h2 { font-size: 16px; margin: 22px 0 6px; }
table { border-collapse: collapse; } td, th { padding: 3px 10px; text-align: right; }
th { font-weight: 600; border-bottom: 1px solid #999; } td:nth-child(2) { min-width: 40px; }
.row { display: flex; flex-wrap: wrap; gap: 12px; align-items: flex-start; }
svg { width: 340px; background: #fff; border: 1px solid #ccc; }
svg text { font-size: 10px; fill: #222; paint-order: stroke; stroke: #fff; stroke-width: 2px; }
svg .title { text-anchor: middle; font-size: 12px; }
svg .tick { text-anchor: middle; fill: #777; } svg line { stroke: #e4e4e4; }
figure { margin: 0; text-align: center; } figcaption { font-size: 11px; color: #555; }
figure img { width: 122px; image-rendering: pixelated; display: block; }
.patch span { display: inline-block; width: 26px; height: 34px; }
.row.patches { gap: 6px; }
@media print { body { margin: 0; } h2, figure, table, svg { break-inside: avoid; }
* { print-color-adjust: exact; -webkit-print-color-adjust: exact; } }
</style>
)";

} // namespace

std::string swatch(const RgbBytes &rgb) {
    static const bool colours = isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR");
    if (!colours)
        return "";
    return "  \x1b[48;2;" + std::to_string(rgb[0]) + ";" + std::to_string(rgb[1]) + ";" +
           std::to_string(rgb[2]) + "m    \x1b[0m";
}

PackageReport judge_package(const PanelDescription &description, const Characterisation &panel,
                            const BuildOptions &options, const BuiltTables &tables) {
    const GamutMapping mapping(panel, options.intent);
    return {description,
            panel,
            options,
            tables,
            show_patches(panel, mapping, tables, reachable_colours(panel, mapping, 256)),
            judge_greys(panel, mapping, tables)};
}

std::string text_report(const PackageReport &report) {
    std::ostringstream text;
    text << "gamut: " << gamut_size(report.panel) << '\n';
    for (const std::string &remark : report.panel.remarks())
        text << "note: " << remark << '\n';
    text << "CIEDE2000 of " << report.patches.size()
         << " flat patches that the panel can show, and of the greys the largest\n"
            "step back and jump of L* and cast\n"
            "dithering           mean   95 %  worst   back   jump   cast  wanted, and shown as\n";
    for (std::size_t mode = 0; mode < dithering_modes; ++mode) {
        const DifferenceSummary summary = summarise(report.patches, mode);
        const ShownPatch &worst = report.patches[summary.worst];
        const RgbBytes wanted = rgb_of(worst.wanted);
        const RgbBytes shown = rgb_of(worst.shown[mode]);
        const RampFigures &greys = report.greys[mode];
        text << std::left << std::setw(17) << dither_names[mode] << std::right << std::fixed
             << std::setprecision(2) << std::setw(7) << summary.mean << std::setw(7)
             << summary.percentile95 << std::setw(7) << summary.largest << std::setw(7)
             << greys.step_back << std::setw(7) << greys.jump << std::setw(7) << greys.cast << "  "
             << triple(wanted) << swatch(wanted) << ", " << triple(shown) << swatch(shown) << '\n';
    }
    return text.str();
}

std::string html_report(const PackageReport &report) {
    std::string page = "<!DOCTYPE html>\n<html lang='en'><head><meta charset='utf-8'><title>" +
                       escape(report.description.name) + "</title>\n" + style + "</head><body>\n";
    page += "<h1>" + escape(report.description.name) + "</h1>\n<p>Intent " +
            intent_names()[std::size_t(report.options.intent)] + ", tuned for " +
            tuning_names()[std::size_t(report.options.tuning)] +
            ". Gamut: " + gamut_size(report.panel) + ".";
    for (const std::string &remark : report.panel.remarks())
        page += " Note: " + escape(remark) + ".";
    page += "</p>\n<h2>Palette</h2>\n" + palette_table(report);

    page += "<h2>Gamut in CIE L*a*b*</h2>\n<div class='row'>\n";
    const double reach = lab_reach(report.panel);
    for (LabView view : {LabView("L* over a*, from +b*", 1, 0, 2, true, reach),
                         LabView("L* over b*, from &#8722;a*", 2, 0, 1, false, reach),
                         LabView("b* over a*, from above", 1, 2, 0, true, reach)}) {
        add_gamut(view, report);
        page += view.svg();
    }
    page +=
        "</div>\n<h2>CIEDE2000 of flat patches that the panel can show</h2>\n" + mode_table(report);
    page += "<h2>Wanted (left) and shown (right) by floyd-serpentine, the worst first</h2>\n"
            "<div class='row patches'>\n" +
            patch_drawings(report) + "</div>\n";
    page += "<h2>Greys, from black to white</h2>\n<div class='row patches'>\n" +
            grey_drawings(report) + "</div>\n";
    page += "<h2>Quantisation table: R to the right, G upward</h2>\n<div class='row'>\n";
    for (std::size_t blue = 0; blue < cell_steps; blue += 9)
        page += slice(report, blue);
    return page + "</div>\n</body></html>\n";
}

} // namespace oxel::tools
