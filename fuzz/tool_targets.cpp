// What the bytes of a file can do to the oxel command. A file that is refused is told on one line
// that begins with its name.
#include "base/failure.h"
#include "base/files.h"
#include "command/device_settings.h"
#include "decoder/decoder.h"
#include "panels/panel_description.h"
#include "service/configuration.h"
#include "service/picture_notes.h"
#include "service/response.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

using namespace oxel::tools;

namespace {

template <class Work>
void expect_success_or_failure(const std::string &name, Work work) {
    try {
        work();
    } catch (const Failure &failure) {
        const std::string_view message = failure.what();
        if (!message.starts_with(name + ": ") || message.size() < name.size() + 3 ||
            message.find('\n') != message.npos)
            std::abort();
    }
}

} // namespace

void fuzz_panel(std::string_view bytes) {
    std::cerr.rdbuf(nullptr); // warnings
    expect_success_or_failure("panel", [&] { parse_panel_description("panel", bytes); });
}

void fuzz_picture(std::string_view bytes) {
    const int file = memfd_create("picture", 0);
    if (write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        std::abort();
    const std::string name = "picture";
    const auto size = static_cast<int>(bytes.size());
    const Framing framing{static_cast<Fit>(size % 4), static_cast<Rotation>(size / 4 % 5), {}};
    expect_success_or_failure(name, [&] {
        Bytes light(bytes_a_pixel * 24 * 16);
        try {
            // Here, where its crash is seen; larger ones take time and memory.
            decode_picture(file, {{24, 16}, framing, true}, {.megapixels = 1}, light);
        } catch (const std::runtime_error &refusal) {
            throw Failure(name, refusal.what());
        }
    });
    close(file);
}

void fuzz_configuration(std::string_view bytes) {
    std::cerr.rdbuf(nullptr); // warnings
    expect_success_or_failure("configuration", [&] {
        parse_configuration("configuration", bytes, read_device_settings);
    });
}

/// A request's target and headers, a line each, and its body.
void fuzz_request(std::string_view bytes) {
    const auto take_line = [&] {
        const std::string_view line = bytes.substr(0, bytes.find('\n'));
        bytes.remove_prefix(std::min(line.size() + 1, bytes.size()));
        return std::string(line);
    };
    if (const auto target = parse_target(take_line()))
        for (const std::string &part : target->path)
            if (part.empty() || part == "." || part == ".." ||
                part.find_first_of(std::string("/\\\0", 3)) != part.npos)
                std::abort();
    Request request;
    request.method = "GET";
    request.if_none_match = take_line();
    request.range = take_line();
    request.if_range = take_line();
    accepts_gzip(take_line());
    bearer(take_line());
    Response response;
    response.etag = "\"tag\"";
    response.text = "0123456789";
    apply_conditions(request, response);
    if (response.first > 10 || response.length > 10 - response.first ||
        (response.status == 206 && response.length == 0))
        std::abort();
    if (const auto crop = parse_crop(bytes))
        if ((*crop)[0] + (*crop)[2] > 1.0001 || (*crop)[1] + (*crop)[3] > 1.0001)
            std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t count) {
    OXEL_FUZZ_TARGET({reinterpret_cast<const char *>(bytes), count});
    return 0;
}
