// What the bytes of a file can do to the oxel command. A file that is refused is told on one line
// that begins with its name.
#include "base/failure.h"
#include "panels/panel_description.h"
#include "pictures/picture.h"

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
    const std::string name = "/proc/self/fd/" + std::to_string(file);
    const auto size = static_cast<int>(bytes.size());
    const Framing framing{static_cast<Fit>(size % 4), static_cast<Rotation>(size / 4 % 5), {}};
    expect_success_or_failure(name, [&] {
        if (picture_size(name, framing).pixels() <= 1 << 20) // larger ones take time and memory
            load_picture(name, {24, 16}, framing);
    });
    close(file);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t count) {
    OXEL_FUZZ_TARGET({reinterpret_cast<const char *>(bytes), count});
    return 0;
}
