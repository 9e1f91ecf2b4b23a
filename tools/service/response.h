#ifndef OXEL_TOOLS_RESPONSE_H
#define OXEL_TOOLS_RESPONSE_H

#include "base/bytes.h"
#include "base/descriptor.h"
#include "service/request.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace oxel::tools {

/// A file that is open, to be sent. It may have lost its name since.
struct OpenFile {
    Descriptor file;
    std::uint64_t bytes = 0;
};

/// An answer. Its body is `file` or `kept`, if there is one, else `text`.
struct Response {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string text;
    OpenFile file;
    std::shared_ptr<const Bytes> kept; // in memory, which others send, too
    std::string etag;                  // with its quotes; "" for what has none
    std::uint64_t first = 0;           // what is sent of the body begins here
    std::uint64_t length = 0;          // and is so long

    std::uint64_t body_bytes() const {
        return file.file ? file.bytes : kept ? kept->size() : text.size();
    }
};

/// One line for people: also what is wrong.
Response line_response(int status, const std::string &line);

Response json_response(const std::string &text);

/// Settles what of the answer is sent: nothing if the asker has it (304), the range that was asked
/// for (206, 416), or all (RFC 9110).
void apply_conditions(const Request &request, Response &response);

/// Whether the asker has what bears this tag.
bool names_tag(std::string_view if_none_match, std::string_view etag);

/// Whether gzip may be sent.
bool accepts_gzip(std::string_view accept_encoding);

} // namespace oxel::tools

#endif
