/* A host in plain C, linked to the shared library: the exported pointers are its variables too. */
#include <Oxel_Morvel6_render.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum {
    CELLS = 64 * 64 * 64,
    PALETTE = 28,
    TCON = 34,
    GAMUT = 36,
    QUANTISATION = GAMUT + 3 * CELLS,
    TRAILER = QUANTISATION + CELLS,
    SIZE = TRAILER + 4
};

/* The host's own function of a name that the library exports too must not change the library. */
double my_exp(double x) {
    return 0.0 * x;
}

static void put_u32(uint8_t *bytes, uint32_t value) {
    for (int i = 0; i < 4; ++i)
        bytes[i] = (uint8_t)(value >> 8 * i);
}

static void expect(int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "failed: %s\n", what);
        exit(1);
    }
}

int main(void) {
    static uint8_t package[SIZE];
    static const uint8_t own_palette[6] = {7, 8, 9, 17, 18, 19}, own_codes[2] = {99, 98};
    uint8_t pixel[3] = {0};

    expect(!EO_RGB_color && !TCON_INDEX_TABLE, "null before the first init");
    put_u32(package + 6, SIZE);
    package[10] = 2;
    put_u32(package + 12, PALETTE);
    put_u32(package + 16, TCON);
    put_u32(package + 20, GAMUT);
    put_u32(package + 24, QUANTISATION);
    put_u32(package + TRAILER, 0xA727D9AB); /* CRC-32 of the above */
    package[0] = 1;
    expect(Oxel_Morvel6_render_init(package, SIZE) == OXEL_BAD_PACKAGE_CRC &&
               Oxel_Morvel6_render(pixel, ORDER_RGB, pixel, ORDER_RGB, 1, 1, DITHER_FLOYD,
                                   OUTPUT_TCON_CODE) == OXEL_NOT_INITIALISED,
           "a refused package does not initialise");
    package[0] = 0;
    expect(Oxel_Morvel6_render_init(package, SIZE) == OXEL_SUCCESS, "init");
    expect(EO_RGB_color == package + PALETTE && TCON_INDEX_TABLE == package + TCON,
           "the host sees the adopted tables");

    EO_RGB_color = own_palette;
    TCON_INDEX_TABLE = own_codes;
    expect(Oxel_Morvel6_render(pixel, ORDER_RGB, pixel, ORDER_RGB, 1, 1, DITHER_FLOYD,
                               OUTPUT_EO_RGB) == OXEL_SUCCESS &&
               memcmp(pixel, own_palette, 3) == 0,
           "renders read the palette through EO_RGB_color");
    expect(Oxel_Morvel6_render(pixel, ORDER_RGB, pixel, ORDER_RGB, 1, 1, DITHER_FLOYD,
                               OUTPUT_TCON_CODE) == OXEL_SUCCESS &&
               pixel[0] == 99,
           "renders read the codes through TCON_INDEX_TABLE");

    expect(my_exp(1.0) == 0.0 && my_ln(1.0) == 0.0 && my_pow(2.0, 10.0) > 1024.0,
           "the library keeps its own numbers");
    puts("the host and the library share their variables");
    return 0;
}
