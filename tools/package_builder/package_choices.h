#ifndef OXEL_TOOLS_PACKAGE_CHOICES_H
#define OXEL_TOOLS_PACKAGE_CHOICES_H

#include <string>
#include <vector>

namespace oxel::tools {

/// What happens to colours that the panel cannot show.
enum class Intent {
    perceptual, // a picture's white becomes the paper's and its black the ink's, hues stay
    vivid,      // the same, but lightness gives way before chroma does
    absolute,   // reachable colours stay what they are, others become the nearest
};

/// Each at the place of its value.
const std::vector<std::string> &intent_names();

/// For which diffusions a package's colours are right.
enum class Tuning {
    all, // a compromise, leaning to Floyd and Steinberg's, the default of a rendering
    floyd,
    jjn,
    stucki,
};

/// Each at the place of its value.
const std::vector<std::string> &tuning_names();

} // namespace oxel::tools

#endif
