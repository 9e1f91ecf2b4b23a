/*
 * Oxel Morvel 6 render: maps a photograph into the few colours of an e-paper panel, diffuses the
 * error, and writes the bytes of the panel's timing controller (TCON) or a preview.
 *
 * Conventions that hold for every function:
 *
 * Image     width x height pixels of 3 bytes, row after row from the top, each row from the left,
 *           no gap between rows: pixel (row, column) starts at byte 3 * (row * width + column).
 *           Its size is 3 * width * height bytes, which must stay below 2^31.
 * Empty     An image whose width or height is below 1. Its pointers are never read or written
 *           and may be null.
 * Buffers   belong to the caller, before, during and after a call. Outputs are written only when
 *           the status is OXEL_SUCCESS. No alignment is needed. Buffers must not overlap except
 *           where a function says so.
 * Memory    Work memory comes from malloc and is released before the call returns. No call needs
 *           more than 24 KiB of stack.
 * Threads   Oxel_Morvel6_render_init writes the library's state and must not overlap any other
 *           call. All other calls only read that state and may run at once on any number of
 *           threads, as long as no call writes a buffer that another one uses. No threads are
 *           started, no locks taken.
 * Errors    are reported by the returned status alone; nothing is thrown or logged.
 */
#ifndef OXEL_MORVEL6_RENDER_H
#define OXEL_MORVEL6_RENDER_H

#include <stdint.h>

#define OXEL_VERSION_MAJOR 2
#define OXEL_VERSION_MINOR 2
#define OXEL_VERSION_PATCH 1

#if defined(__GNUC__)
#define OXEL_EXPORT __attribute__((visibility("default")))
#else
#define OXEL_EXPORT
#endif

#ifdef __cplusplus
#define OXEL_NOEXCEPT noexcept
extern "C" {
#else
#define OXEL_NOEXCEPT
#endif

/* What every function that can fail returns. */
enum Oxel_status {
    /* Done. */
    OXEL_SUCCESS = 0,
    /* init: the package is null, shorter than 28 bytes, 2^31 bytes or longer, or its length field
       differs from package_size. */
    OXEL_BAD_PACKAGE_LENGTH = 3,
    /* init: the package's CRC-32 trailer does not match its bytes. */
    OXEL_BAD_PACKAGE_CRC = 4,
    /* A render's non-empty image needs a table that the adopted package does not hold whole, or
       a nominal colour for a palette index above 5. */
    OXEL_UNUSABLE_TABLES = 5,
    /* No package has been adopted yet. */
    OXEL_NOT_INITIALISED = 6,
    /* Out of memory. */
    OXEL_OUT_OF_MEMORY = 12,
    /* A selector (byte order, dithering mode, output type, layout) is none of its values. */
    OXEL_BAD_SELECTOR = 13,
    /* OUTPUT_NOMINAL_RGB, but the adopted package does not have exactly six colours. */
    OXEL_NOT_SIX_COLOURS = 14,
    /* A pointer that the call needs is null, or the image's size is not supported. */
    OXEL_BAD_ARGUMENT = 15
};

/* Order of a pixel's bytes. */
enum Oxel_byte_order {
    ORDER_RGB = 0, /* R, G, B */
    ORDER_BGR = 1  /* B, G, R */
};

/* Error-diffusion kernel and scan order. Plain order scans every row from left to right;
   serpentine order scans the second row, the fourth, ... from right to left. */
enum Oxel_dithering_mode {
    DITHER_FLOYD = 0, /* Floyd and Steinberg, 1976: 4 neighbours, sixteenths */
    DITHER_FLOYD_SERPENTINE = 1,
    DITHER_JJN = 2, /* Jarvis, Judice and Ninke, 1976: 12 neighbours, forty-eighths */
    DITHER_JJN_SERPENTINE = 3,
    DITHER_STUCKI = 4, /* Stucki, 1981: 12 neighbours, forty-seconds */
    DITHER_STUCKI_SERPENTINE = 5
};

/* What the three bytes of an output pixel of palette index i receive. */
enum Oxel_output_type {
    OUTPUT_TCON_CODE = 1,   /* TCON_INDEX_TABLE[i], three times */
    OUTPUT_NOMINAL_RGB = 2, /* index 0 to 5: pure black, white, yellow, red, green, blue */
    OUTPUT_EO_RGB = 3       /* the measured palette colour, EO_RGB_color[3 * i ...] */
};

/* Which rendering a guarded render delivered. */
enum Oxel_guard_result {
    GUARD_PASSED = 0,         /* the image as given */
    GUARD_PASSED_SHIFTED = 1, /* the image moved down by one row, under a row of zero bytes */
    GUARD_BLANKED = 2         /* palette index 0 everywhere: both renderings were rejected */
};

/* Driving layouts of Oxel_TFT_format_transfer. w and h are the dimensions on entry; odd pixels
   are the first, third, ... of a row. Halves are rounded down. */
enum Oxel_tft_mode {
    TFT_PAIR_MERGE_UPPER_FIRST = 1, /* rows 2p, 2p+1 interleaved into row p: 2w x h/2 */
    TFT_PAIR_MERGE_LOWER_FIRST = 2, /* the same, lower row's pixel first: 2w x h/2 */
    TFT_PAIR_SWAP = 3,              /* rows 2p and 2p+1 exchanged: w x h */
    TFT_HSD_ODD_EVEN = 4,           /* row r split into odd pixels, even pixels: w/2 x 2h */
    TFT_HSD_EVEN_ODD = 5            /* row r split into even pixels, odd pixels: w/2 x 2h */
};

/*
 * The adopted package's palette colours (3 bytes R, G, B an index) and timing-controller codes
 * (1 byte an index): pointers into the package, null before the first successful init. Every
 * render reads both tables through these variables.
 */
extern OXEL_EXPORT const uint8_t *EO_RGB_color;
extern OXEL_EXPORT const uint8_t *TCON_INDEX_TABLE;

/*
 * Adopts a LUT package: `package_size` bytes that the caller has loaded. Nothing is copied; the
 * bytes must stay where they are, unchanged, until the last render or until a later init adopts
 * another package.
 *
 * Package, all numbers little-endian:
 *   0   6 bytes  producer's data, never read        16  u32  offset of the TCON codes
 *   6   u32      length of the package in bytes     20  u32  offset of the gamut table
 *   10  u16      number of colours                  24  u32  offset of the quantisation table
 *   12  u32      offset of the palette colours      28       tables, in any order
 *   length - 4   u32  CRC-32 (IEEE 802.3) of all bytes before it
 * A colour's cell is (R >> 2) * 4096 + (G >> 2) * 64 + (B >> 2). The gamut table holds the mapped
 * colour of each cell (262,144 x 3 bytes R, G, B), the quantisation table its palette index
 * (262,144 bytes).
 *
 * A package that passes the checks is adopted even if its tables cannot be used; renders then
 * return OXEL_UNUSABLE_TABLES. Tables can be used when each ends before the trailer, the palette
 * and the TCON codes with as many entries as the largest index in the quantisation table needs.
 *
 * Returns OXEL_SUCCESS; OXEL_BAD_PACKAGE_LENGTH; OXEL_BAD_PACKAGE_CRC (tested before the length
 * field). After a failure the package adopted before stays in force. Must not overlap any other
 * call into the library.
 */
OXEL_EXPORT int32_t Oxel_Morvel6_render_init(const uint8_t *package,
                                             uint32_t package_size) OXEL_NOEXCEPT;

/*
 * Renders an image to one form.
 *
 *   input_image     the image, in `rgb_order`; only read
 *   output_image    as many bytes as the input, which it may overlap: that is read first
 *   output_order    byte order of OUTPUT_NOMINAL_RGB and OUTPUT_EO_RGB; ignored by
 *                   OUTPUT_TCON_CODE
 *   dithering_mode  enum Oxel_dithering_mode
 *   output_type     enum Oxel_output_type
 *
 * Returns the first that applies; the output is untouched except on success:
 *   OXEL_NOT_INITIALISED
 *   OXEL_BAD_SELECTOR     dithering_mode; then, not for an empty image, rgb_order
 *   OXEL_BAD_ARGUMENT     not for an empty image: a needed pointer is null, or the size is
 *                         unsupported
 *   OXEL_UNUSABLE_TABLES  not for an empty image
 *   OXEL_OUT_OF_MEMORY
 *   OXEL_BAD_SELECTOR     output_type, or an output_order that is used; an empty image uses none
 *   OXEL_NOT_SIX_COLOURS  OUTPUT_NOMINAL_RGB; tested before output_order
 *   OXEL_SUCCESS
 * The last two errors, too, are found before any pixel is diffused.
 * The pointers that a call needs are the input and each output that it would write; an output
 * that the last two errors keep from being written may be null.
 */
OXEL_EXPORT int32_t Oxel_Morvel6_render(const uint8_t *input_image, uint32_t rgb_order,
                                        uint8_t *output_image, uint32_t output_order, int32_t width,
                                        int32_t height, uint32_t dithering_mode,
                                        int32_t output_type) OXEL_NOEXCEPT;

/*
 * Renders an image to all three forms, in the time of one render.
 *
 *   tcon_image     receives OUTPUT_TCON_CODE
 *   nominal_image  receives OUTPUT_NOMINAL_RGB in `rgb_order`; with a package of other than six
 *                  colours it is left untouched, which is no error, and may be null
 *   eo_image       receives OUTPUT_EO_RGB in `rgb_order`
 *   reserved       never read
 *
 * The outputs are written one after the other, in this order, after the input has been read: any of
 * them may overlap it, and where outputs overlap the last one prevails.
 *
 * Returns, outputs untouched except on success, the first that applies of OXEL_NOT_INITIALISED,
 * OXEL_BAD_SELECTOR (dithering_mode, rgb_order), OXEL_BAD_ARGUMENT, OXEL_UNUSABLE_TABLES,
 * OXEL_OUT_OF_MEMORY, as in Oxel_Morvel6_render.
 */
OXEL_EXPORT int32_t Oxel_Morvel6_render_All(const uint8_t *input_image, uint32_t rgb_order,
                                            uint8_t *tcon_image, uint8_t *nominal_image,
                                            uint8_t *eo_image, void *reserved, int32_t width,
                                            int32_t height, uint32_t dithering_mode) OXEL_NOEXCEPT;

/*
 * Renders like Oxel_Morvel6_render, unless the mix of palette colours changes too strongly from
 * one line pair (rows 2p and 2p + 1) to the next. The measure is the sum, over successive pairs
 * and over the palette, of the squared change of each colour's share of the pair's pixels: 0 for
 * an even image, 2 for each complete change of colour. A rendering passes when its measure is
 * below `power_threshold`. If the first fails, the image is rendered again moved down by one row
 * (an all-zero row above it, its last row dropped); if that fails too, the output becomes
 * palette index 0 everywhere.
 *
 *   power_threshold  limit of the measure, exclusive; a NaN rejects everything
 *   guard_result     receives enum Oxel_guard_result, or null
 *
 * Returns what Oxel_Morvel6_render returns, in the same order. A rejected rendering is no error.
 * One whose output is refused is measured all the same, for guard_result. guard_result is written
 * with OXEL_SUCCESS, OXEL_NOT_SIX_COLOURS and the OXEL_BAD_SELECTOR of output_type and
 * output_order, and is untouched with every other status. An empty image of width 0 and at least 4
 * rows has no measure and is reported as GUARD_BLANKED.
 */
OXEL_EXPORT int32_t Oxel_Morvel6_render_with_powerGuard(const uint8_t *input_image,
                                                        uint32_t rgb_order, uint8_t *output_image,
                                                        uint32_t output_order, int32_t width,
                                                        int32_t height, uint32_t dithering_mode,
                                                        int32_t output_type, double power_threshold,
                                                        int32_t *guard_result) OXEL_NOEXCEPT;

/*
 * Adjusts an image in hue, saturation and lightness (HSL), then applies a gamma curve. Needs no
 * package.
 *
 *   output_image  as many bytes as the input; may be the input's own buffer
 *   output_order  byte order of the output; with any other value nothing is read or written
 *   hue           degrees added to the hue; any value. The sum is truncated toward zero, then taken
 *                 modulo 360: where it is negative, 360 degrees more may give a degree less
 *   saturation    hundredths added to a saturation of at least 0.1
 *   brightness    hundredths added to the lightness
 *   contrast      lightness is stretched about one half by the factor 1 + contrast / 50
 *   gamma         each channel v becomes 255 * my_pow(v / 255, gamma), truncated, low 8 bits;
 *                 0 where that is outside the 32-bit integers or NaN; 1.0 skips the step
 *
 * Neutral amounts (0, 0, 0, 0, 1.0) keep greys and change most colours by a few levels.
 *
 * Returns the first that applies; the output is untouched except on success:
 *   OXEL_SUCCESS       empty image
 *   OXEL_BAD_SELECTOR  rgb_order
 *   OXEL_BAD_ARGUMENT  the size is unsupported, or the input, or an output that would be
 *                      written, is null
 *   OXEL_SUCCESS
 */
OXEL_EXPORT int32_t Oxel_image_adjustment(const uint8_t *input_image, uint32_t rgb_order,
                                          uint8_t *output_image, uint32_t output_order,
                                          int32_t width, int32_t height, int32_t hue,
                                          int32_t saturation, int32_t brightness, int32_t contrast,
                                          double gamma) OXEL_NOEXCEPT;

/*
 * Rearranges an image of 3-byte pixels, in place, for a panel's driving layout, and stores the
 * new dimensions. Needs no package.
 *
 *   data           the image; the result is written over its start. An odd row (merges) or
 *                  column (splits) is dropped; bytes past the result keep their values.
 *   width, height  dimensions, replaced by the result's (TFT_PAIR_SWAP leaves them)
 *   mode           enum Oxel_tft_mode
 *
 * Returns the first that applies; data and dimensions are untouched except on success:
 *   OXEL_BAD_SELECTOR   mode
 *   OXEL_BAD_ARGUMENT   a null pointer (an empty image's data may be null), a negative dimension,
 *                       an unsupported size, or a new dimension of 2^31 or more
 *   OXEL_OUT_OF_MEMORY
 *   OXEL_SUCCESS
 */
OXEL_EXPORT int32_t Oxel_TFT_format_transfer(uint8_t *data, int32_t *width, int32_t *height,
                                             int32_t mode) OXEL_NOEXCEPT;

/*
 * The version history: ASCII lines ended by line feeds, the last one "Current Version: v2.2.1",
 * then a NUL. Every call returns the same address, valid as long as the library is loaded. The
 * text may be modified; the library never does.
 */
OXEL_EXPORT char *Oxel_get_updateLog(void) OXEL_NOEXCEPT;

/*
 * The library's own exponential, logarithm and powers, for the host that must reproduce its
 * results. They round each operation to double and give the same bits on every processor, but
 * are accurate only near 1: my_exp sums at most 80 Taylor terms without range reduction (useful
 * from about -10 to 30), my_ln takes at most 50 Newton steps (useful from about 0.001 to 50).
 */

/* e^x, the Taylor series up to the first term below 1e-12. */
OXEL_EXPORT double my_exp(double x) OXEL_NOEXCEPT;

/* ln x, Newton's method on my_exp from x - 1 until a step is below 1e-12; NaN for x <= 0. */
OXEL_EXPORT double my_ln(double x) OXEL_NOEXCEPT;

/* base^exponent by repeated squaring; 1 / base^-exponent for negative exponents. */
OXEL_EXPORT double my_int_pow(double base, int32_t exponent) OXEL_NOEXCEPT;

/*
 * base^exponent: 1 for an exponent of 0, else 0 for a base of 0, else
 * my_exp(my_ln(base) * exponent) for a positive base; for a negative base, my_int_pow of an
 * integral exponent (up to 1e-12 beyond an integer, away from zero), and NaN for any other
 * exponent and for those outside the 32-bit integers.
 */
OXEL_EXPORT double my_pow(double base, double exponent) OXEL_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
