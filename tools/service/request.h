#ifndef OXEL_TOOLS_REQUEST_H
#define OXEL_TOOLS_REQUEST_H

#include "base/bytes.h"
#include "base/descriptor.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace oxel::tools {

/// What a request line names: /albums/family/sub/photo.jpg?thumbnail.
struct Target {
    std::vector<std::string> path; // its parts, decoded
    std::map<std::string, std::string> query;

    bool has(const std::string &key) const { return query.count(key) != 0; }
    std::string value(const std::string &key) const;
};

/// Nothing for what names no file by any system's rules: parts that are empty, . or .., hold a
/// slash, a backslash or a control character, or are no UTF-8, written plainly or as %2e and the
/// like.
std::optional<Target> parse_target(std::string_view text);

/// The secret that comes with "Bearer SECRET"; "" if there is none.
std::string_view bearer(std::string_view authorization);

/// A request for the service, as it came.
struct Request {
    std::string method;
    Target target;
    std::string if_none_match;
    std::string if_range;
    std::string range;
    std::string accept_encoding;
    std::string authorization;
    std::string battery;
    Descriptor body; // a file of its own, without a name; none without a body
    std::size_t body_bytes = 0;

    bool reads() const { return method == "GET" || method == "HEAD"; }
};

} // namespace oxel::tools

#endif
