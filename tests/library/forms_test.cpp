#include "forms/forms.h"

#include "support.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace oxel;

// Told by the processor, not by the forms.
TEST(Forms, TheFastestOneThatTheProcessorHasIsChosen) {
    std::vector<std::string> expected;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512vbmi"))
        expected.emplace_back("AVX-512");
    if (__builtin_cpu_supports("avx2"))
        expected.emplace_back("AVX2");
#endif
#if defined(__SSE2__) || (defined(__ARM_NEON) && !defined(__ARM_BIG_ENDIAN))
    expected.emplace_back("128-bit vectors");
#endif
    expected.emplace_back("portable");
    std::vector<std::string> forms;
    for (const Form *form : all_forms())
        if (form->runs_here())
            forms.emplace_back(form->name);
    EXPECT_EQ(forms, expected);
    force_form(nullptr);
    EXPECT_EQ(chosen_form().name, expected.front());
}

} // namespace
