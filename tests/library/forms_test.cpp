#include "forms/forms.h"

#include "support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace oxel;

// Told by the processor, not by the forms.
TEST(Forms, TheFastestOneThatTheProcessorHasIsChosen) {
    std::vector<std::pair<std::string, bool>> expected; // and whether it runs here
#if defined(__x86_64__)
    expected.emplace_back("AVX-512", __builtin_cpu_supports("avx512vbmi"));
    expected.emplace_back("AVX2", __builtin_cpu_supports("avx2"));
#endif
#if defined(__SSE2__) || (defined(__ARM_NEON) && !defined(__ARM_BIG_ENDIAN))
    expected.emplace_back("128-bit vectors", true);
#endif
    expected.emplace_back("portable", true);
    std::vector<std::pair<std::string, bool>> forms;
    for (const Form *form : all_forms())
        forms.emplace_back(form->name, form->runs_here());
    EXPECT_EQ(forms, expected);
    force_form(nullptr);
    EXPECT_EQ(chosen_form().name, std::find_if(expected.begin(), expected.end(), [](auto &form) {
                                      return form.second;
                                  })->first);
}

} // namespace
