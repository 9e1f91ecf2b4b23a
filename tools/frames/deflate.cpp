#include "frames/deflate.h"

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>

#include <zlib.h>

namespace oxel::tools {

namespace {

constexpr std::size_t step = std::size_t{1} << 20; // zlib counts in 32 bits

int window_bits(Wrapping wrapping) {
    return MAX_WBITS + (wrapping == Wrapping::gzip ? 16 : 0);
}

/// Feeds all `bytes` to `work` and returns what it makes of them. Stops at the stream's end, which
/// must be that of the bytes.
template <class Work>
Bytes run(z_stream &state, std::span<const std::uint8_t> bytes, std::size_t limit, Work work) {
    Bytes result;
    int status = Z_OK;
    for (std::size_t place = 0; status != Z_STREAM_END;) {
        const std::size_t given = std::min(bytes.size() - place, step);
        state.next_in = const_cast<std::uint8_t *>(bytes.data() + place); // zlib only reads it
        state.avail_in = static_cast<uInt>(given);
        const std::size_t made = result.size();
        result.resize(made + step);
        state.next_out = result.data() + made;
        state.avail_out = static_cast<uInt>(step);
        status = work(&state, place + given == bytes.size());
        place += given - state.avail_in;
        result.resize(made + step - state.avail_out);
        if (result.size() > limit)
            throw std::runtime_error("holds more than a frame of this size");
        if (status == Z_BUF_ERROR)
            throw std::runtime_error("ends too early");
        if (status != Z_OK && status != Z_STREAM_END)
            throw std::runtime_error("is damaged: it cannot be decompressed");
        if (status == Z_STREAM_END && place != bytes.size())
            throw std::runtime_error("has more behind its end");
    }
    return result;
}

} // namespace

Bytes deflate_bytes(std::span<const std::uint8_t> bytes, Wrapping wrapping, Effort effort) {
    z_stream state{};
    const bool full = effort == Effort::full;
    if (deflateInit2(&state, full ? Z_DEFAULT_COMPRESSION : Z_BEST_SPEED, Z_DEFLATED,
                     window_bits(wrapping), 8, full ? Z_DEFAULT_STRATEGY : Z_RLE) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, int (*)(z_stream *)> end(&state, deflateEnd);
    return run(state, bytes, SIZE_MAX, [](z_stream *stream, bool last) {
        return deflate(stream, last ? Z_FINISH : Z_NO_FLUSH);
    });
}

Bytes inflate_bytes(std::span<const std::uint8_t> bytes, Wrapping wrapping, std::size_t limit) {
    z_stream state{};
    if (inflateInit2(&state, window_bits(wrapping)) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, int (*)(z_stream *)> end(&state, inflateEnd);
    return run(state, bytes, limit,
               [](z_stream *stream, bool) { return inflate(stream, Z_NO_FLUSH); });
}

std::uint32_t crc_of(std::span<const std::uint8_t> bytes) {
    return static_cast<std::uint32_t>(crc32_z(0, bytes.data(), bytes.size()));
}

} // namespace oxel::tools
