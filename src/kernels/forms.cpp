#include "forms.h"

#include "portable.h"
#include "vector_forms.h"

#include <iterator>

namespace [[gnu::visibility("hidden")]] oxel {

namespace {

constexpr const Form *forms[] = {
#ifdef OXEL_AVX
    &avx512_form,
    &avx2_form,
#endif
#ifdef OXEL_VECTOR128
    &vector128_form,
#endif
    &portable_form,
};

const Form *forced = nullptr;

const Form *fastest() {
    const Form *const *form = forms;
    while (!(*form)->runs_here())
        ++form;
    return *form;
}

} // namespace

Forms all_forms() {
    return {forms, std::size(forms)};
}

const Form &chosen_form() {
    static const Form *const chosen = fastest();
    return forced ? *forced : *chosen;
}

void force_form(const Form *form) {
    forced = form;
}

} // namespace oxel
