#ifndef OXEL_TOOLS_DECODER_MESSAGES_H
#define OXEL_TOOLS_DECODER_MESSAGES_H

#include "base/descriptor.h"
#include "pictures/decoding.h"

#include <array>
#include <cstddef>
#include <string>
#include <type_traits>

namespace oxel::tools {

// What a program and the decoders that it starts say to each other, each message in one packet.

/// Where a decoder finds its socket.
constexpr int decoder_socket = 3;

/// The first one: how the process is to work.
struct DecoderSettings {
    PictureLimits limits;
    int threads;
};

/// Comes with the picture's file and, where it could be had, that of the memory for the pixels;
/// else they follow the reply in packets.
struct DecoderRequest {
    /// A Decoding's, one beside the other: gaps between its members would tell what was in memory.
    std::array<double, 23> numbers;
};

DecoderRequest request_of(Decoding wanted);
Decoding decoding_of(DecoderRequest request);

struct DecoderReply {
    enum Result { done, refused, out_of_memory } result;
    PictureFacts facts;
    std::array<char, 2000> reason; // ends with a NUL
};

static_assert(std::is_trivially_copyable_v<DecoderSettings> &&
              std::is_trivially_copyable_v<DecoderRequest> &&
              std::is_trivially_copyable_v<DecoderReply>);

constexpr std::size_t pixel_packet = 65536;

/// What is told of a picture that needs more memory than the limit.
std::string memory_refusal(const PictureLimits &limits);

using TwoFiles = std::array<Descriptor, 2>;

/// Whether the message went out.
bool send_packet(int socket, const void *bytes, std::size_t count, int first = -1, int second = -1);

/// Whether a message of just so many bytes came.
bool receive_packet(int socket, void *bytes, std::size_t count, TwoFiles *files = nullptr);

} // namespace oxel::tools

#endif
