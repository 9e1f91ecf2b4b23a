// The process that decodes pictures: the other end of decoder_process.cpp.
#include "pictures/decoder_messages.h"
#include "pictures/decoder_process.h"
#include "pictures/sandbox.h"
#include "pictures/vips_session.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace oxel::tools {

namespace {

void refuse(DecoderReply &reply, const char *reason) {
    reply.result = DecoderReply::refused;
    std::strncpy(reply.reason.data(), reason, reply.reason.size() - 1);
}

/// Copies the pixels to the memory that the asking process shares.
void hand_over(const Light &light, int memory) {
    if (light.empty())
        return;
    const std::size_t size = sizeof light[0] * light.size();
    void *const shared = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, memory, 0);
    if (shared == MAP_FAILED)
        throw std::bad_alloc();
    std::memcpy(shared, light.data(), size);
    munmap(shared, size);
}

DecoderReply serve(const DecoderRequest &request, const TwoFiles &files,
                   const PictureLimits &limits) {
    DecoderReply reply{};
    try {
        const DecodedPicture picture = decode_picture(files[0].get(), request.wanted, limits);
        hand_over(picture.light, files[1].get());
        reply.size = picture.size;
    } catch (const std::bad_alloc &) {
        reply.result = DecoderReply::out_of_memory;
    } catch (const std::exception &error) {
        refuse(reply, error.what());
    }
    return reply;
}

} // namespace

std::optional<int> run_decoder_process(int argc, char **argv) {
    if (argc != 2 || std::string_view(argv[1]) != decoder_argument)
        return std::nullopt;
    DecoderSettings settings{};
    if (!receive_packet(decoder_socket, &settings, sizeof settings))
        return 2; // started by somebody else
    limit_vips_threads(settings.threads);
    start_vips(); // loads its modules while it may
    enter_sandbox(settings.limits);
    DecoderRequest request{};
    for (;;) {
        TwoFiles files;
        if (!receive_packet(decoder_socket, &request, sizeof request, &files))
            break;
        const DecoderReply reply = serve(request, files, settings.limits);
        if (!send_packet(decoder_socket, &reply, sizeof reply))
            break;
    }
    _exit(0); // there is nothing to put in order
}

} // namespace oxel::tools
