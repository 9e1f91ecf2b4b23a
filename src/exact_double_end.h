// Include at the end of a source that includes exact_double.h and may be compiled for 32-bit x86:
// Clang wants to be told where its target ends.
#if defined(__clang__) && defined(__i386__)
#pragma clang attribute pop
#endif
