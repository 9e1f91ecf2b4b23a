#include "package_builder/package_choices.h"

namespace oxel::tools {

const std::vector<std::string> &intent_names() {
    static const std::vector<std::string> names = {"perceptual", "vivid", "absolute"};
    return names;
}

const std::vector<std::string> &tuning_names() {
    static const std::vector<std::string> names = {"all", "floyd", "jjn", "stucki"};
    return names;
}

} // namespace oxel::tools
