#ifndef OXEL_TOOLS_PACKAGE_REPORT_H
#define OXEL_TOOLS_PACKAGE_REPORT_H

#include "package_builder/patch_quality.h"
#include "panels/panel_description.h"

#include <string>

namespace oxel::tools {

/// What is known of a package after its build.
struct PackageReport {
    const PanelDescription &description;
    const Characterisation &panel;
    const BuildOptions &options;
    const BuiltTables &tables;
    std::vector<ShownPatch> patches;
    std::array<RampFigures, dithering_modes> greys;
};

/// Judges tables by flat patches of any bytes and by a grey ramp.
PackageReport judge_package(const PanelDescription &description, const Characterisation &panel,
                            const BuildOptions &options, const BuiltTables &tables);

/// The closing lines of a build; swatches of colours where the standard output shows them.
std::string text_report(const PackageReport &report);

/// A page of its own with the palette, the gamut in CIE L*a*b* from three sides, slices of the
/// quantisation table, and patches as wanted against patches as shown.
std::string html_report(const PackageReport &report);

/// Escape sequences that draw a patch of the colour, where the standard output shows them.
std::string swatch(const RgbBytes &rgb);

} // namespace oxel::tools

#endif
