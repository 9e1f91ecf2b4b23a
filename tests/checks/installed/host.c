/* A host of the installed library. */
#include <Oxel_Morvel6_render.h>

int main(void) {
    return Oxel_Morvel6_render_init(0, 0) == OXEL_BAD_PACKAGE_LENGTH && my_exp(0) == 1 ? 0 : 1;
}
