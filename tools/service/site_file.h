#ifndef OXEL_TOOLS_SITE_FILE_H
#define OXEL_TOOLS_SITE_FILE_H

#include "service/response.h"

#include <optional>
#include <string>
#include <vector>

namespace oxel::tools {

/// A file of the page.
struct SiteFile {
    OpenFile file;
    std::string identity; // of the file and its version
    bool is_index;        // of a folder that was named
};

/// Finds it below the site's folder; of a folder, index.html in it. Nothing that begins with a dot,
/// and nothing behind links.
std::optional<SiteFile> open_site_file(const std::string &site,
                                       const std::vector<std::string> &path);

/// The media type that the end of a name says.
std::string type_of_file(const std::string &name);

} // namespace oxel::tools

#endif
