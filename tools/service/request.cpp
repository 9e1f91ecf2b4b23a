#include "service/request.h"

#include <algorithm>
#include <cctype>

namespace oxel::tools {

namespace {

int digit_of(char letter) {
    if (letter >= '0' && letter <= '9')
        return letter - '0';
    letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

std::optional<std::string> decode(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? digit_of(text[i + 1]) : -1;
        const int low = i + 2 < text.size() ? digit_of(text[i + 2]) : -1;
        if (high < 0 || low < 0)
            return std::nullopt;
        decoded += static_cast<char>(16 * high + low);
        i += 2;
    }
    return decoded;
}

bool is_utf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i++]);
        const int more = byte < 0x80 ? 0 : byte < 0xC2 ? -1 : byte < 0xE0 ? 1 : byte < 0xF0 ? 2 : 3;
        if (more < 0 || byte > 0xF4)
            return false;
        for (int k = 0; k < more; ++k, ++i)
            if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80)
                return false;
        const auto second = more > 0 ? static_cast<unsigned char>(text[i - std::size_t(more)]) : 0;
        // Longer than need be, halves of UTF-16's pairs, and beyond Unicode's end.
        if ((byte == 0xE0 && second < 0xA0) || (byte == 0xED && second > 0x9F) ||
            (byte == 0xF0 && second < 0x90) || (byte == 0xF4 && second > 0x8F))
            return false;
    }
    return true;
}

bool is_control(char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte < 0x20 || byte == 0x7F;
}

bool is_name(std::string_view part) {
    return !part.empty() && part != "." && part != ".." && part.size() < 256 && is_utf8(part) &&
           std::none_of(
               part.begin(), part.end(),
               [](char c) { return c == '/' || c == '\\' || is_control(c); });
}

} // namespace

std::string Target::value(const std::string &key) const {
    const auto place = query.find(key);
    return place == query.end() ? "" : place->second;
}

std::optional<Target> parse_target(std::string_view text) {
    Target target;
    for (const std::string_view scheme : {"http://", "https://"}) // as proxies are asked
        if (text.starts_with(scheme))
            text.remove_prefix(std::min(text.find_first_of("/?", scheme.size()), text.size()));
    const std::size_t mark = std::min(text.find('?'), text.size());
    std::string_view path = text.substr(0, mark);
    if (path.empty() || path.front() != '/' || path.size() > 4096)
        return std::nullopt;
    path.remove_prefix(1);
    if (path.ends_with('/'))
        path.remove_suffix(1);
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        const auto part = decode(path.substr(0, slash));
        if (!part || !is_name(*part) || slash + 1 == path.size())
            return std::nullopt;
        target.path.push_back(*part);
        path.remove_prefix(slash == path.npos ? path.size() : slash + 1);
    }
    std::string_view query = text.substr(std::min(mark + 1, text.size()));
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(pair.size() + 1, query.size()));
        const auto key = decode(pair.substr(0, pair.find('=')));
        const auto value = decode(pair.substr(std::min(pair.find('='), pair.size() - 1) + 1));
        if (!key || !value || !is_utf8(*key) || !is_utf8(*value))
            return std::nullopt;
        target.query[*key] = pair.find('=') == pair.npos ? "" : *value;
    }
    return target;
}

std::string_view bearer(std::string_view authorization) {
    constexpr std::string_view scheme = "bearer ";
    if (authorization.size() < scheme.size() ||
        !std::equal(scheme.begin(), scheme.end(), authorization.begin(), [](char wanted, char c) {
            return wanted == std::tolower(static_cast<unsigned char>(c));
        }))
        return {};
    return authorization.substr(scheme.size());
}

} // namespace oxel::tools
