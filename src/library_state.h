#ifndef OXEL_LIBRARY_STATE_H
#define OXEL_LIBRARY_STATE_H

#include <cstdint>

// What Oxel_Morvel6_render_init adopts, besides the exported EO_RGB_color and TCON_INDEX_TABLE.
// All zero until then; written by init alone.
namespace [[gnu::visibility("hidden")]] oxel {

extern std::uint8_t isInital;
extern std::uint16_t COLOR_NUMBER;
extern const std::uint8_t *GLUT; // 64 * 64 * 64 mapped colours of 3 bytes R, G, B
extern const std::uint8_t *QLUT; // 64 * 64 * 64 palette indices

extern bool tables_usable;         // every table that a render reads lies inside the package
extern std::uint8_t largest_index; // in QLUT; known only if the tables are usable

} // namespace oxel

#endif
