// The program that decodes pictures: the other end of decoder_process.cpp.
#include "base/descriptor.h"
#include "decoder/decoder.h"
#include "decoder/sandbox.h"
#include "decoder/vips_modules.h"
#include "pictures/decoder_messages.h"
#include "pictures/picture_threads.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

using namespace oxel::tools;

namespace {

void refuse(DecoderReply &reply, const char *reason) {
    reply.result = DecoderReply::refused;
    std::strncpy(reply.reason.data(), reason, reply.reason.size() - 1);
}

/// Where memory runs short, a decoder is to end before the process that asks, which loses all.
void offer_to_end_first() {
    const Descriptor score(open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC));
    constexpr std::string_view most = "1000";
    if (score && write(score.get(), most.data(), most.size()) < 0)
        return; // then the kernel goes by size alone
}

/// The memory that the asking process shares, or memory of our own.
class Pixels {
  public:
    Pixels(int memory, std::size_t size) : size_(size) {
        const int shared = memory < 0 ? MAP_PRIVATE | MAP_ANONYMOUS : MAP_SHARED;
        if (size > 0)
            pixels_ = mmap(nullptr, size, PROT_READ | PROT_WRITE, shared, memory, 0);
        if (pixels_ == MAP_FAILED)
            throw std::bad_alloc();
    }
    Pixels(const Pixels &) = delete;
    Pixels &operator=(const Pixels &) = delete;
    ~Pixels() { munmap(pixels_, size_); }

    std::span<std::uint8_t> bytes() const { return {static_cast<std::uint8_t *>(pixels_), size_}; }

  private:
    std::size_t size_;
    void *pixels_ = nullptr;
};

/// Whether the answer went out.
bool serve(const DecoderRequest &request, const TwoFiles &files, const PictureLimits &limits) {
    DecoderReply reply{};
    std::optional<Pixels> pixels;
    const int memory = files[1].get();
    try {
        const Decoding wanted = decoding_of(request);
        pixels.emplace(memory, bytes_a_pixel * wanted.size.pixels());
        reply.facts = decode_picture(files[0].get(), wanted, limits, pixels->bytes());
    } catch (const std::bad_alloc &) {
        reply.result = DecoderReply::out_of_memory;
    } catch (const std::exception &error) {
        refuse(reply, error.what());
    }
    bool sent = send_packet(decoder_socket, &reply, sizeof reply);
    if (reply.result == DecoderReply::done && memory < 0)
        for (auto left = pixels->bytes(); sent && !left.empty();) {
            const auto packet = left.first(std::min(left.size(), pixel_packet));
            sent = send_packet(decoder_socket, packet.data(), packet.size());
            left = left.subspan(packet.size());
        }
    return sent;
}

} // namespace

int main() {
    DecoderSettings settings{};
    if (!receive_packet(decoder_socket, &settings, sizeof settings)) {
        std::cerr << "oxel-decoder: only oxel starts it, to have pictures decoded\n";
        return 2;
    }
    offer_to_end_first();
    limit_picture_threads(settings.threads);
    start_vips_without_modules();
    enter_sandbox(settings.limits);
    DecoderRequest request{};
    for (;;) {
        TwoFiles files;
        if (!receive_packet(decoder_socket, &request, sizeof request, &files) ||
            !serve(request, files, settings.limits))
            _exit(0); // there is nothing to put in order
    }
}
