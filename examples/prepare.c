/* prepare PACKAGE PICTURE.ppm >CODES: prepares a picture, renders it and writes a code a pixel, as
   oxel render does. */
#include <Oxel_Morvel6_render.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { PREROLL = 128 }; /* rows above the picture, an even number */

/* One of the gamut table's 64 levels, by interleaved gradient noise. */
static uint8_t on_grid(uint8_t value, uint32_t x, uint32_t y, int pure_ends) {
    uint32_t noise = (uint32_t)((x * 288237660U + y * 25070368U) * UINT64_C(3555623499) >> 26);
    int place = pure_ends ? (value * 256 * 84 + 42) / 85 : value * 256 - 384;
    int room = place < 63 * 512 ? place : 63 * 1024 - place; /* to the nearer end */
    int halves = room < 512 ? 0 : room < 1024 ? 1 : 2;       /* of a level, to either side */
    int level = (place - halves * 512 + (1 + halves) * (int)(noise >> 22)) / 1024;
    return (uint8_t)(4 * (level < 0 ? 0 : level > 63 ? 63 : level) + 1);
}

static int is_ink(const uint8_t *pixel, int colours) {
    for (int i = 0; i < colours; ++i)
        if (memcmp(pixel, EO_RGB_color + 3 * i, 3) == 0)
            return 1;
    return 0;
}

int main(int argc, char **argv) {
    static uint8_t package[1 << 21];
    int width, height;
    FILE *file = argc == 3 ? fopen(argv[1], "rb") : NULL;
    size_t size = file ? fread(package, 1, sizeof package, file) : 0;
    FILE *photo = argc == 3 ? fopen(argv[2], "rb") : NULL;
    int32_t status = Oxel_Morvel6_render_init(package, (uint32_t)size);
    if (status != OXEL_SUCCESS || !photo || fscanf(photo, "P6 %d %d 255", &width, &height) != 2 ||
        fgetc(photo) == EOF || width < 1 || height < 1 || height > 1 << 15 || width > 1 << 14)
        return 1;
    size_t row = 3 * (size_t)width;
    uint8_t *image = malloc(row * (size_t)(PREROLL + height));
    if (!image || fread(image + PREROLL * row, row, (size_t)height, photo) != (size_t)height)
        return 1;

    int pure_ends = memcmp(package, "OX\1", 3) == 0 && package[3] < 2; /* by intent */
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t *pixel = image + (size_t)(PREROLL + y) * row + 3 * (size_t)x;
            const int flat = is_ink(pixel, package[10] | package[11] << 8);
            for (int c = 0; c < 3 && !flat; ++c)
                pixel[c] = on_grid(pixel[c], (uint32_t)x, (uint32_t)y, pure_ends);
        }
    for (int y = 0; y < PREROLL; ++y) { /* mirrored, more than once where the picture is low */
        int place = y % (2 * height);
        int from = place < height ? place : 2 * height - 1 - place;
        memcpy(image + (size_t)(PREROLL - 1 - y) * row, image + (size_t)(PREROLL + from) * row,
               row);
    }
    status = Oxel_Morvel6_render(image, ORDER_RGB, image, ORDER_RGB, width, PREROLL + height,
                                 DITHER_FLOYD_SERPENTINE, OUTPUT_TCON_CODE);
    for (size_t i = PREROLL * row; i < (size_t)(PREROLL + height) * row; i += 3)
        putchar(image[i]);
    free(image);
    return status;
}
