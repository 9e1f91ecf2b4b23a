#include "forms.h"

#include "vector_forms.h"

#include <atomic>

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

constexpr const Form *forms[] = {
#ifdef OXEL_AVX512
    &avx512_form,
#endif
#ifdef OXEL_AVX2
    &avx2_form,
#endif
#ifdef OXEL_VECTOR128
    &vector128_form,
#endif
    &portable_form,
};

std::atomic<const Form *> chosen = nullptr; // every thread that finds it null comes to the same

const Form *fastest() {
    const Form *const *form = forms;
    while (!(*form)->runs_here())
        ++form;
    return *form;
}

} // namespace

std::span<const Form *const> all_forms() {
    return forms;
}

const Form &chosen_form() {
    const Form *form = chosen.load(std::memory_order_relaxed);
    if (!form) {
        form = fastest();
        chosen.store(form, std::memory_order_relaxed);
    }
    return *form;
}

void force_form(const Form *form) {
    chosen.store(form, std::memory_order_relaxed);
}

} // namespace oxel
