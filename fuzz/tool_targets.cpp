// What the bytes of a file can do to the oxel command. A file that is refused is told on one line
// that begins with its name.
#include "base/failure.h"
#include "base/files.h"
#include "panels/panel_description.h"
#include "pictures/decoder.h"

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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t count) {
    OXEL_FUZZ_TARGET({reinterpret_cast<const char *>(bytes), count});
    return 0;
}
