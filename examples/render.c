/* render PACKAGE: prints the codes of a black, white, yellow, red, green and blue pixel. */
#include <Oxel_Morvel6_render.h>
#include <stdio.h>

int main(int argc, char **argv) {
    static uint8_t package[1 << 21];
    uint8_t image[] = {0, 0, 0, 255, 255, 255, 250, 220, 0, 200, 0, 0, 0, 128, 0, 0, 0, 200};
    FILE *file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    size_t size = file ? fread(package, 1, sizeof package, file) : 0;
    int32_t status = Oxel_Morvel6_render_init(package, (uint32_t)size);
    if (status == OXEL_SUCCESS)
        status = Oxel_Morvel6_render(image, ORDER_RGB, image, ORDER_RGB, 6, 1, DITHER_FLOYD,
                                     OUTPUT_TCON_CODE);
    for (int i = 0; i < 6 && status == OXEL_SUCCESS; ++i)
        printf("%d%c", image[3 * i], i < 5 ? ' ' : '\n');
    return status;
}
