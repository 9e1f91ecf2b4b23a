#ifndef OXEL_FORMS_DOUBLE_LANES_H
#define OXEL_FORMS_DOUBLE_LANES_H

#include <cstdint>

// Doubles in the lanes of vector registers, which round each operation like single ones. A
// `Target` tells how many `doubles` a register holds, and whether any() lane of a mask is set.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

/// Registers of bytes, of doubles, and of two floats or integers for each double.
template <class Target>
struct WideRegister {
    typedef std::uint8_t Bytes __attribute__((vector_size(8 * Target::doubles)));
    typedef double Doubles __attribute__((vector_size(8 * Target::doubles)));
    typedef float Floats __attribute__((vector_size(8 * Target::doubles)));
    typedef std::int32_t Ints __attribute__((vector_size(8 * Target::doubles)));
    typedef float HalfFloats __attribute__((vector_size(4 * Target::doubles)));
    typedef std::int32_t HalfInts __attribute__((vector_size(4 * Target::doubles)));
    typedef std::int64_t Mask __attribute__((vector_size(8 * Target::doubles)));
};
template <class Target>
using ByteLanes = typename WideRegister<Target>::Bytes;
template <class Target>
using DoubleLanes = typename WideRegister<Target>::Doubles;
template <class Target>
using FloatLanes = typename WideRegister<Target>::Floats;
template <class Target>
using IntLanes = typename WideRegister<Target>::Ints;
template <class Target>
using LaneMask = typename WideRegister<Target>::Mask;

template <class Target>
DoubleLanes<Target> splat_double(double value) {
    return DoubleLanes<Target>{} + value;
}

} // namespace

} // namespace oxel

#endif
