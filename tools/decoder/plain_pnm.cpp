#include "decoder/plain_pnm.h"

#include "base/files.h"
#include "decoder/loaders.h"

#include <memory>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace oxel::tools {

using vips::VImage;

namespace {

class Numbers {
  public:
    explicit Numbers(int file) : file_(fdopen(dup(file), "rb")) {
        if (!file_ || std::fseek(file_.get(), 2, SEEK_SET) != 0)
            throw std::runtime_error("cannot be read");
    }

    int next(int most) {
        int number = digit();
        int c = getc_unlocked(file_.get());
        for (; c >= '0' && c <= '9' && number <= most; c = getc_unlocked(file_.get()))
            number = 10 * number + c - '0';
        if (number > most)
            throw std::runtime_error("holds a number above " + std::to_string(most));
        if (c != EOF && c != '#' && !is_space(c))
            throw std::runtime_error("holds something else than numbers");
        std::ungetc(c, file_.get());
        return number;
    }

    /// Digits of bits need no space between them.
    int next_bit() {
        const int bit = digit();
        if (bit > 1)
            throw std::runtime_error("holds something else than 0 and 1");
        return bit;
    }

  private:
    static bool is_space(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    /// The next digit, behind space and comments.
    int digit() {
        int c = 0;
        do {
            c = getc_unlocked(file_.get());
            if (c == '#')
                while (c != '\n' && c != EOF)
                    c = getc_unlocked(file_.get());
        } while (is_space(c));
        if (c == EOF)
            throw std::runtime_error("ends too early");
        if (c < '0' || c > '9')
            throw std::runtime_error("holds something else than numbers");
        return c - '0';
    }

    FileHandle file_;
};

/// As many as a whole picture has, scaled to the range of their type.
template <class Sample>
VImage read_samples(Numbers &numbers, ImageSize size, int bands, int most, bool bits) {
    const std::size_t count = size.pixels() * static_cast<std::size_t>(bands);
    auto *const samples = static_cast<Sample *>(g_try_malloc_n(count, sizeof(Sample)));
    if (!samples)
        throw std::bad_alloc();
    VImage image = VImage::new_from_memory_steal(
        samples, count * sizeof(Sample), size.width, size.height, bands,
        sizeof(Sample) == 1 ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT);
    constexpr unsigned full = static_cast<Sample>(~0);
    for (std::size_t i = 0; i < count; ++i) {
        // Of bits 1 is black.
        const int value = bits ? 1 - numbers.next_bit() : numbers.next(most);
        samples[i] = static_cast<Sample>(
            (static_cast<unsigned>(value) * full + static_cast<unsigned>(most) / 2) /
            static_cast<unsigned>(most));
    }
    const VipsInterpretation grey =
        sizeof(Sample) == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_GREY16;
    const VipsInterpretation colour =
        sizeof(Sample) == 1 ? VIPS_INTERPRETATION_sRGB : VIPS_INTERPRETATION_RGB16;
    return image.copy(VImage::option()->set("interpretation", bands == 1 ? grey : colour));
}

ImageSize read_size(Numbers &numbers, const PictureLimits &limits) {
    ImageSize size{};
    size.width = numbers.next(VIPS_MAX_COORD);
    size.height = numbers.next(VIPS_MAX_COORD);
    if (size.pixels() == 0)
        throw std::runtime_error("has no pixels");
    check_pixels(size, limits);
    return size;
}

} // namespace

void check_pnm_head(int file, const PictureLimits &limits) {
    Numbers numbers(file);
    read_size(numbers, limits);
}

bool is_plain_pnm(std::string_view start) {
    return start.size() > 1 && start[0] == 'P' && start[1] >= '1' && start[1] <= '3';
}

VImage read_plain_pnm(int file, char kind, const PictureLimits &limits) {
    Numbers numbers(file);
    const ImageSize size = read_size(numbers, limits);
    const bool bits = kind == '1';
    const int most = bits ? 1 : numbers.next(65535);
    if (most == 0)
        throw std::runtime_error("has no brightness but 0");
    const int bands = kind == '3' ? 3 : 1;
    struct stat status{};
    // Each number takes a digit and, but for bits, a space behind it.
    const std::size_t least = size.pixels() * static_cast<std::size_t>(bands) * (bits ? 1 : 2) - 1;
    if (fstat(file, &status) != 0 || static_cast<std::size_t>(status.st_size) < least)
        throw std::runtime_error("ends too early");
    return most > 255 ? read_samples<std::uint16_t>(numbers, size, bands, most, bits)
                      : read_samples<std::uint8_t>(numbers, size, bands, most, bits);
}

} // namespace oxel::tools
