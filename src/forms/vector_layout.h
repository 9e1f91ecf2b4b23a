#ifndef OXEL_FORMS_VECTOR_LAYOUT_H
#define OXEL_FORMS_VECTOR_LAYOUT_H

#include "portable.h"

#include <cstddef>
#include <cstdint>
#include <immintrin.h>

// The pixel moves of driving layouts: a register of 16 bytes holds four pixels and four bytes more,
// which fall on the next pixels, before those are written. The last pixels of a row are left to the
// portable form.
namespace [[gnu::visibility("hidden")]] oxel {

namespace {

inline void merge_rows_by_four(const std::uint8_t *first, const std::uint8_t *second,
                               std::size_t count, std::uint8_t *pairs) {
    const __m128i order = _mm_setr_epi8(0, 1, 2, 8, 9, 10, 3, 4, 5, 11, 12, 13, 6, 7, 14, 15);
    for (; count >= 4; count -= 2, first += 6, second += 6, pairs += 12) {
        const __m128i both =
            _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(first)),
                               _mm_loadl_epi64(reinterpret_cast<const __m128i *>(second)));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(pairs), _mm_shuffle_epi8(both, order));
    }
    portable::merge_rows(first, second, count, pairs);
}

inline void split_row_by_four(const std::uint8_t *pairs, std::size_t count, std::uint8_t *first,
                              std::uint8_t *second) {
    const __m128i order = _mm_setr_epi8(0, 1, 2, 6, 7, 8, 12, 13, 3, 4, 5, 9, 10, 11, 14, 15);
    for (; count >= 4; count -= 2, pairs += 12, first += 6, second += 6) {
        const __m128i halves =
            _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(pairs)), order);
        _mm_storel_epi64(reinterpret_cast<__m128i *>(first), halves);
        _mm_storeh_pi(reinterpret_cast<__m64 *>(second), _mm_castsi128_ps(halves));
    }
    portable::split_row(pairs, count, first, second);
}

} // namespace

} // namespace oxel

#endif
