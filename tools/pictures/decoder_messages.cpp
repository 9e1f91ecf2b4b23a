#include "pictures/decoder_messages.h"

#include <cerrno>
#include <cstring>
#include <optional>
#include <sys/socket.h>
#include <type_traits>

namespace oxel::tools {

namespace {

/// Hands each value to `take`, which reads or writes it, with those of lengths that are not there.
template <std::size_t count, class Take>
void pass(std::optional<std::array<PictureLength, count>> &lengths, Take &&take) {
    bool there = lengths.has_value();
    take(there);
    auto values = lengths.value_or(std::array<PictureLength, count>{});
    for (auto &[value, percent] : values) {
        take(value);
        take(percent);
    }
    lengths = there ? std::optional(values) : std::nullopt;
}

template <class Take>
void pass(Decoding &wanted, Take &&take) {
    take(wanted.size.width);
    take(wanted.size.height);
    take(wanted.framing.fit);
    take(wanted.framing.rotation);
    for (std::uint8_t &channel : wanted.framing.background)
        take(channel);
    pass(wanted.framing.crop, take);
    pass(wanted.framing.focus, take);
    take(wanted.framing.smooth_text);
    take(wanted.document);
}

} // namespace

DecoderRequest request_of(Decoding wanted) {
    DecoderRequest request;
    pass(wanted, [place = request.numbers.data()](const auto &value) mutable {
        *place++ = static_cast<double>(value);
    });
    return request;
}

Decoding decoding_of(DecoderRequest request) {
    Decoding wanted{};
    pass(wanted, [place = request.numbers.data()](auto &value) mutable {
        value = static_cast<std::remove_reference_t<decltype(value)>>(*place++);
    });
    return wanted;
}

namespace {

/// A packet and room for the descriptors that come with it.
struct Packet {
    iovec bytes;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(2 * sizeof(int))> control{};
    msghdr header{};

    Packet(void *memory, std::size_t count) : bytes{memory, count} {
        header.msg_iov = &bytes;
        header.msg_iovlen = 1;
    }
};

template <class Call>
ssize_t uninterrupted(Call call) {
    ssize_t result = 0;
    do
        result = call();
    while (result < 0 && errno == EINTR);
    return result;
}

} // namespace

bool send_packet(int socket, const void *bytes, std::size_t count, int first, int second) {
    Packet packet(const_cast<void *>(bytes), count);
    const int files[] = {first, second};
    const std::size_t size = (first < 0 ? 0 : second < 0 ? 1 : 2) * sizeof(int);
    if (size > 0) {
        packet.header.msg_control = packet.control.data();
        packet.header.msg_controllen = CMSG_SPACE(size);
        cmsghdr *const control = CMSG_FIRSTHDR(&packet.header);
        control->cmsg_level = SOL_SOCKET;
        control->cmsg_type = SCM_RIGHTS;
        control->cmsg_len = CMSG_LEN(size);
        std::memcpy(CMSG_DATA(control), files, size);
    }
    return uninterrupted([&] { return sendmsg(socket, &packet.header, MSG_NOSIGNAL); }) ==
           static_cast<ssize_t>(count);
}

bool receive_packet(int socket, void *bytes, std::size_t count, TwoFiles *files) {
    Packet packet(bytes, count);
    if (files) {
        packet.header.msg_control = packet.control.data();
        packet.header.msg_controllen = packet.control.size();
    }
    const ssize_t received =
        uninterrupted([&] { return recvmsg(socket, &packet.header, MSG_CMSG_CLOEXEC); });
    const cmsghdr *const control = received > 0 ? CMSG_FIRSTHDR(&packet.header) : nullptr;
    if (control && control->cmsg_type == SCM_RIGHTS)
        for (std::size_t i = 0; CMSG_LEN((i + 1) * sizeof(int)) <= control->cmsg_len; ++i) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(control) + i * sizeof(int), sizeof number);
            (*files)[i] = Descriptor(number);
        }
    return received == static_cast<ssize_t>(count) && !(packet.header.msg_flags & MSG_TRUNC);
}

std::string memory_refusal(const PictureLimits &limits) {
    return "takes more memory than the " + std::to_string(limits.megabytes) +
           " MB that --max-memory allows";
}

} // namespace oxel::tools
