#include "pictures/decoder_messages.h"

#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace oxel::tools {

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

} // namespace oxel::tools
