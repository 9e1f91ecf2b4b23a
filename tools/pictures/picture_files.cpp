#include "pictures/picture_files.h"

#include "base/failure.h"
#include "frames/png.h"
#include "pictures/drawing.h"

#include <csetjmp>
#include <cstdio> // which jpeglib.h wants
#include <cstdlib>
#include <memory>

#include <jpeglib.h>
#include <png.h>

namespace oxel::tools {

namespace {

/// How libjpeg gives up: it must not return from there, and knows no exceptions.
struct JpegErrors {
    jpeg_error_mgr manager;
    std::jmp_buf back;
};

/// Whether libjpeg could do it. Nothing here has a destructor that a jump would pass over.
bool compress_jpeg(const Bytes &rgb, ImageSize size, unsigned char *&file, unsigned long &count) {
    constexpr int quality = 80;
    jpeg_compress_struct jpeg{};
    JpegErrors errors{};
    jpeg.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = [](j_common_ptr failed) {
        std::longjmp(reinterpret_cast<JpegErrors *>(failed->err)->back, 1);
    };
    if (setjmp(errors.back) != 0) {
        jpeg_destroy_compress(&jpeg);
        return false;
    }
    jpeg_create_compress(&jpeg);
    jpeg_mem_dest(&jpeg, &file, &count);
    jpeg.image_width = static_cast<JDIMENSION>(size.width);
    jpeg.image_height = static_cast<JDIMENSION>(size.height);
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, quality, TRUE);
    jpeg.optimize_coding = TRUE;
    jpeg_start_compress(&jpeg, TRUE);
    while (jpeg.next_scanline < jpeg.image_height) {
        const std::size_t place = std::size_t{3} * jpeg.image_width * jpeg.next_scanline;
        JSAMPROW row = const_cast<JSAMPROW>(&rgb[place]);
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    return true;
}

} // namespace

Bytes encode_png(const std::string &path, const Bytes &rgb, ImageSize size) {
    if (const auto png = encode_png_of_few_colours(rgb, size))
        return *png;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(size.width);
    image.height = static_cast<png_uint_32>(size.height);
    image.format = PNG_FORMAT_RGB;
    png_alloc_size_t count = PNG_IMAGE_PNG_SIZE_MAX(image);
    Bytes png(count);
    if (!png_image_write_to_memory(&image, png.data(), &count, 0, rgb.data(), 0, nullptr))
        throw Failure(path, image.message);
    png.resize(count);
    return png;
}

Bytes encode_jpeg(const std::string &path, const Bytes &rgb, ImageSize size) {
    unsigned char *file = nullptr;
    unsigned long count = 0;
    const bool done = compress_jpeg(rgb, size, file, count);
    const std::unique_ptr<unsigned char, decltype(&std::free)> owner(file, std::free);
    if (!done)
        throw Failure(path, "cannot be made a JPEG");
    return {file, file + count};
}

Bytes png_of_svg(const std::string &path, const std::string &svg) {
    ImageSize size{};
    const Bytes rgb = draw_svg(path, svg, size);
    return encode_png(path, rgb, size);
}

} // namespace oxel::tools
