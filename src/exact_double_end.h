// Clang applies a target until told otherwise: include this at the end of a source that includes
// exact_double.h and may be compiled for 32-bit x86.
#if defined(__clang__) && defined(__i386__)
#pragma clang attribute pop
#endif
