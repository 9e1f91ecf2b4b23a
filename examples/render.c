/* Renders 1600 x 1200 pixels (R, G, B on standard input) to controller codes on standard output. */
#include <Oxel_Morvel6_render.h>
#include <stdio.h>

static uint8_t package[1 << 21], picture[1600 * 1200 * 3];

int main(void) {
    FILE *file = fopen("panel.lut", "rb");
    int32_t status = Oxel_Morvel6_render_init(
        package, file ? (uint32_t)fread(package, 1, sizeof package, file) : 0);
    if (status == OXEL_SUCCESS && fread(picture, sizeof picture, 1, stdin) == 1)
        status = Oxel_Morvel6_render(picture, ORDER_RGB, picture, ORDER_RGB, 1600, 1200,
                                     DITHER_FLOYD, OUTPUT_TCON_CODE);
    if (status == OXEL_SUCCESS)
        fwrite(picture, sizeof picture, 1, stdout);
    return status;
}
