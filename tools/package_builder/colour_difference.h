#ifndef OXEL_TOOLS_COLOUR_DIFFERENCE_H
#define OXEL_TOOLS_COLOUR_DIFFERENCE_H

#include "package_builder/vector3.h"

namespace oxel::tools {

/// CIEDE2000 of two colours in CIE L*a*b*: Sharma, Wu and Dalal, "The CIEDE2000 color-difference
/// formula: implementation notes", 2005. For judging results only: it may differ between machines
/// in the last bits, so no table depends on it.
double ciede2000(const Vector3 &lab, const Vector3 &other);

/// CIE94 with the weights of graphic arts (CIE publication 116, 1995), by the geometric mean of the
/// chromas. It uses only operations that IEEE 754 rounds exactly, so tables may depend on it.
double cie94(const Vector3 &lab, const Vector3 &other);

} // namespace oxel::tools

#endif
