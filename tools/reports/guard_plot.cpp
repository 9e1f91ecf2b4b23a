#include "reports/guard_plot.h"

#include <glib.h>

#include <algorithm>
#include <iomanip>
#include <locale>
#include <memory>
#include <numeric>
#include <sstream>

namespace oxel::tools {

namespace {

constexpr double top = 60;
constexpr double margin = 20;
constexpr double plot_height = 480;
constexpr double column_width = 130;
constexpr double column_gap = 16;

std::string base64(const Bytes &bytes) {
    const std::unique_ptr<char, decltype(&g_free)> text(g_base64_encode(bytes.data(), bytes.size()),
                                                        g_free);
    return text.get();
}

double largest(const std::vector<GuardSeries> &series) {
    double most = 0;
    for (const GuardSeries &one : series)
        for (const auto *values : {&one.first, &one.shifted})
            for (const double value : *values)
                most = std::max(most, value);
    return most;
}

class Svg {
  public:
    Svg(double width, double height) {
        text_.imbue(std::locale::classic());
        text_ << std::setprecision(6) << "<svg xmlns=\"http://www.w3.org/2000/svg\" "
              << "xmlns:xlink=\"http://www.w3.org/1999/xlink\" width=\"" << width << "\" height=\""
              << height << "\" font-family=\"DejaVu Sans, sans-serif\" font-size=\"12\">\n"
              << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    }

    void write(double x, double y, const std::string &text, const char *fill = "black") {
        text_ << "<text x=\"" << x << "\" y=\"" << y << "\" fill=\"" << fill << "\">" << text
              << "</text>\n";
    }

    void frame(double x, double width) {
        text_ << "<rect x=\"" << x << "\" y=\"" << top << "\" width=\"" << width << "\" height=\""
              << plot_height << "\" fill=\"none\" stroke=\"#999\"/>\n";
    }

    void picture(const Bytes &png, double width) {
        text_ << "<image x=\"" << margin << "\" y=\"" << top << "\" width=\"" << width
              << "\" height=\"" << plot_height
              << "\" preserveAspectRatio=\"none\" xlink:href=\"data:image/png;base64,"
              << base64(png) << "\"/>\n";
    }

    /// Each value as a line to the right, at its line pair's place down the picture.
    void values(double x, double scale, const std::vector<double> &values, const char *stroke) {
        const double step = plot_height / static_cast<double>(values.size());
        text_ << "<path fill=\"none\" stroke=\"" << stroke << "\" stroke-width=\""
              << std::clamp(step / 2, 0.5, 4.0) << "\" d=\"";
        for (std::size_t pair = 0; pair < values.size(); ++pair)
            text_ << 'M' << x << ' ' << top + (static_cast<double>(pair) + 0.5) * step << 'h'
                  << values[pair] * scale;
        text_ << "\"/>\n";
    }

    std::string end() { return text_.str() + "</svg>\n"; }

  private:
    std::ostringstream text_;
};

std::string number(double value) {
    std::ostringstream text;
    text << std::setprecision(4) << value;
    return text.str();
}

std::string sum(const std::vector<double> &values) {
    return number(std::accumulate(values.begin(), values.end(), 0.0));
}

} // namespace

std::string guard_plot(const Bytes &picture, ImageSize size,
                       const std::vector<GuardSeries> &series) {
    constexpr const char *first_colour = "#1f5fa8";
    constexpr const char *shifted_colour = "#e07b16";
    const double picture_width = std::clamp(plot_height * size.width / size.height, 60.0, 800.0);
    const double columns = margin + picture_width + column_gap;
    const double step = 2 * column_width + 2 * column_gap;
    Svg svg(columns + step * static_cast<double>(series.size()) + margin,
            top + plot_height + 2 * margin);
    const double most = largest(series);
    const double scale = most > 0 ? column_width / most : 0;

    svg.picture(picture, picture_width);
    for (std::size_t i = 0; i < series.size(); ++i) {
        const double first = columns + step * static_cast<double>(i);
        const double shifted = first + column_width + 4;
        svg.write(first, 20, series[i].name);
        svg.write(first, 38, "first", first_colour);
        svg.write(first, 53, sum(series[i].first), first_colour);
        svg.write(shifted, 38, "shifted", shifted_colour);
        svg.write(shifted, 53, sum(series[i].shifted), shifted_colour);
        svg.frame(first, column_width);
        svg.frame(shifted, column_width);
        svg.values(first, scale, series[i].first, first_colour);
        svg.values(shifted, scale, series[i].shifted, shifted_colour);
    }
    svg.write(columns, top + plot_height + 18,
              "Contribution of each line pair, beside its rows; a column is " + number(most) +
                  " wide.");
    return svg.end();
}

} // namespace oxel::tools
