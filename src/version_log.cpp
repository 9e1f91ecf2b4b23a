#include "Oxel_Morvel6_render.h"

namespace {

char updateLogMsg[] = "Version Updates:\n"
                      " v1.0.0 (2024-09-03):\n"
                      "  - Initial release\n"
                      " v1.1.0 (2024-09-05):\n"
                      "  - Fixed HGD3 bug\n"
                      "  - Added version number\n"
                      "  - Added Oxel_get_updateLog function\n"
                      "  - Removed Oxel_get_date function\n"
                      " v1.1.1 (2024-10-01):\n"
                      "  - Fixed gamma correction bug\n"
                      " v1.1.2 (2024-10-15):\n"
                      "  - Improved compatibility with Morvel 6 Rendering Tool\n"
                      " v1.2.0 (2024-11-11):\n"
                      "  - Renamed function Oxel_HGD to Oxel_TFT_format_transfer\n"
                      "  - Added HSD odd/even and HSD even/odd modes to Oxel_TFT_format_transfer\n"
                      " v1.2.1 (2024-11-14):\n"
                      "  - Added support for ARM-OpenWRT platform\n"
                      " v2.0.0 (2025-03-11):\n"
                      "  - Expanded LUT to store more information\n"
                      "  - Supported more colors (8-color, 10-color, 16-color)\n"
                      " v2.1.0 (2025-06-12):\n"
                      "  - Added distance-based LUT minimum distance calculation\n"
                      " v2.1.1 (2025-11-12):\n"
                      "  - Removef the math library\n"
                      " v2.1.2 (2026-01-27):\n"
                      "  - Fixed Stucki Serpentine dithering issue\n"
                      " v2.2.0 (2026-03-03):\n"
                      "  - Added Oxel_Morvel6_render_with_powerGuard funcion.\n"
                      " v2.2.1 (2026-03-10):\n"
                      "  - Fixed some bugs.\n"
                      "\n"
                      "Current Version: v2.2.1\n";

} // namespace

char *Oxel_get_updateLog(void) noexcept {
    return updateLogMsg;
}
