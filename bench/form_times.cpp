// Times the diffusions in one form, for those who time another build beside it:
//
//   form_times PACKAGE PICTURE.ppm FORM
//
// Prints each mode's milliseconds of processor time, the least of three renders, in the order of
// enum Oxel_dithering_mode. FORM is a name of forms.h.
#include "forms/forms.h"
#include "inputs.h"

#include "Oxel_Morvel6_render.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>

using namespace bench;

int main(int argc, char **argv) {
    if (argc != 4)
        fail("usage: form_times PACKAGE PICTURE.ppm FORM");
    const PackageFile package = read_package(argv[1]);
    const Scene scene = read_scene(argv[2], package.tables);
    const auto &forms = oxel::all_forms();
    const auto form = std::find_if(forms.begin(), forms.end(), [&](const oxel::Form *candidate) {
        return candidate->runs_here() && candidate->name == std::string(argv[3]);
    });
    if (form == forms.end())
        fail(std::string(argv[3]) + ": no form that runs here");
    oxel::force_form(*form);
    Bytes output(scene.pixels.size());
    for (std::uint32_t mode = 0; mode < oxel::dithering_modes; ++mode) {
        double least = 0;
        for (int round = 0; round < 3; ++round) {
            const std::clock_t start = std::clock();
            if (Oxel_Morvel6_render(scene.pixels.data(), ORDER_RGB, output.data(), ORDER_RGB,
                                    scene.width, scene.height, mode,
                                    OUTPUT_TCON_CODE) != OXEL_SUCCESS)
                fail("the library refused it");
            const double time = 1000.0 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
            least = round == 0 ? time : std::min(least, time);
        }
        std::printf("%.3f\n", least);
    }
}
