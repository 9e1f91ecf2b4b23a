#include "service/response.h"

#include "base/failure.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

namespace oxel::tools {

namespace {

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

std::string lower_case(std::string_view text) {
    std::string lower(text);
    for (char &c : lower)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return lower;
}

/// The parts of a list, without the blanks around them, until `take` says that it has enough.
template <class Take>
void for_each_part(std::string_view list, Take take) {
    while (!list.empty()) {
        const std::size_t comma = std::min(list.find(','), list.size());
        if (take(trimmed(list.substr(0, comma))))
            return;
        list.remove_prefix(std::min(comma + 1, list.size()));
    }
}

std::optional<std::uint64_t> parse_number(std::string_view digits) {
    std::uint64_t value = 0;
    const char *const end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value);
    if (digits.empty() || read.ptr != end)
        return std::nullopt;
    // More than any file has.
    return read.ec == std::errc::result_out_of_range ? UINT64_MAX : value;
}

enum class Asked { all, part, nothing_there };

/// What "bytes=FIRST-LAST", "bytes=FIRST-" or "bytes=-LAST_ONES" asks for. Of several ranges, and
/// of what is no range, all.
Asked parse_range(std::string_view text, std::uint64_t bytes, std::uint64_t &first,
                  std::uint64_t &length) {
    constexpr std::string_view unit = "bytes=";
    const std::size_t dash = text.find('-');
    if (lower_case(text.substr(0, unit.size())) != unit || dash == text.npos ||
        text.find(',') != text.npos)
        return Asked::all;
    const std::string_view from = trimmed(text.substr(unit.size(), dash - unit.size()));
    const std::string_view to = trimmed(text.substr(dash + 1));
    const auto begin = parse_number(from);
    const auto end = parse_number(to);
    if ((!begin && !from.empty()) || (!end && !to.empty()) || (!begin && !end) ||
        (begin && end && *end < *begin))
        return Asked::all;
    if (begin ? *begin >= bytes : *end == 0 || bytes == 0)
        return Asked::nothing_there;
    first = begin ? *begin : bytes - std::min(*end, bytes);
    const std::uint64_t last = begin && end ? std::min(*end, bytes - 1) : bytes - 1;
    length = last - first + 1;
    return Asked::part;
}

} // namespace

Response line_response(int status, const std::string &line) {
    Response response;
    response.status = status;
    response.headers = {{"Content-Type", "text/plain; charset=utf-8"},
                        {"Cache-Control", "no-store"}};
    response.text = printable(line) + "\n";
    return response;
}

Response json_response(const std::string &text) {
    Response response;
    response.headers = {{"Content-Type", "application/json"}, {"Cache-Control", "no-store"}};
    response.text = text;
    return response;
}

bool names_tag(std::string_view if_none_match, std::string_view etag) {
    bool found = false;
    for_each_part(if_none_match, [&](std::string_view tag) {
        if (tag.starts_with("W/"))
            tag.remove_prefix(2);
        return found = tag == "*" || tag == etag;
    });
    return found && !etag.empty();
}

bool accepts_gzip(std::string_view accept_encoding) {
    bool accepted = false;
    for_each_part(lower_case(accept_encoding), [&](std::string_view part) {
        const std::string_view name = trimmed(part.substr(0, part.find(';')));
        if (name != "gzip" && name != "x-gzip" && name != "*")
            return false;
        const std::size_t quality = part.find("q=");
        accepted = quality == part.npos ||
                   part.substr(quality + 2).find_first_of("123456789") != part.npos;
        return name != "*";
    });
    return accepted;
}

void apply_conditions(const Request &request, Response &response) {
    const std::uint64_t bytes = response.body_bytes();
    response.first = 0;
    response.length = bytes;
    if (response.status != 200 || !request.reads())
        return;
    if (names_tag(request.if_none_match, response.etag)) {
        response.status = 304;
        response.length = 0; // the clients of small devices wait for a body of any other length
        return;
    }
    if (request.method != "GET" || request.range.empty() || response.etag.empty() ||
        (!request.if_range.empty() && request.if_range != response.etag))
        return;
    switch (parse_range(request.range, bytes, response.first, response.length)) {
    case Asked::all:
        return;
    case Asked::part:
        response.status = 206;
        response.headers.emplace_back("Content-Range",
                                      "bytes " + std::to_string(response.first) + "-" +
                                          std::to_string(response.first + response.length - 1) +
                                          "/" + std::to_string(bytes));
        return;
    case Asked::nothing_there:
        response.status = 416;
        response.length = 0;
        response.headers.emplace_back("Content-Range", "bytes */" + std::to_string(bytes));
    }
}

} // namespace oxel::tools
