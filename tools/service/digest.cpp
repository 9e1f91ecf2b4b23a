#include "service/digest.h"

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace oxel::tools {

namespace {

constexpr std::size_t digest_bytes = 32;
using Sum = std::array<std::uint8_t, digest_bytes>;

gnutls_hash_hd_t handle(void *state) {
    return static_cast<gnutls_hash_hd_t>(state);
}

Sum sum_of(std::string_view text) {
    Sum sum{};
    if (gnutls_hash_fast(GNUTLS_DIG_SHA256, text.data(), text.size(), sum.data()) != 0)
        throw std::bad_alloc();
    return sum;
}

} // namespace

Digest::Digest() {
    gnutls_hash_hd_t state = nullptr;
    if (gnutls_hash_init(&state, GNUTLS_DIG_SHA256) != 0)
        throw std::bad_alloc();
    state_ = state;
}

Digest::~Digest() {
    if (state_)
        gnutls_hash_deinit(handle(state_), nullptr);
}

void Digest::add(std::span<const std::uint8_t> bytes) {
    if (gnutls_hash(handle(state_), bytes.data(), bytes.size()) != 0)
        throw std::bad_alloc();
}

void Digest::add(std::string_view text) {
    const std::string framed = std::to_string(text.size()) + ":" + std::string(text);
    add(std::span(reinterpret_cast<const std::uint8_t *>(framed.data()), framed.size()));
}

std::string Digest::hex() {
    Sum sum{};
    gnutls_hash_deinit(handle(state_), sum.data());
    state_ = nullptr;
    std::string digits;
    for (const std::uint8_t byte : sum) {
        digits += "0123456789abcdef"[byte >> 4];
        digits += "0123456789abcdef"[byte & 15];
    }
    return digits;
}

std::string digest_of_file(int file) {
    Digest digest;
    std::vector<std::uint8_t> block(std::size_t{1} << 18);
    for (off_t place = 0;;) {
        const ssize_t count = pread(file, block.data(), block.size(), place);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw std::runtime_error(std::strerror(errno));
        if (count == 0)
            return digest.hex();
        digest.add(std::span(block).first(static_cast<std::size_t>(count)));
        place += count;
    }
}

bool same_secret(std::string_view given, std::string_view wanted) {
    // Sums have one length, whatever the texts have.
    return gnutls_memcmp(sum_of(given).data(), sum_of(wanted).data(), digest_bytes) == 0;
}

} // namespace oxel::tools
