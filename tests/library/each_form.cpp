#include "support.h"

#include "forms/forms.h"

#include <gtest/gtest.h>

void for_each_form(const std::function<void()> &test) {
    for (const oxel::Form *form : oxel::all_forms()) {
        if (!form->runs_here())
            continue;
        oxel::force_form(form);
        for (const bool start : {false, true}) {
            SCOPED_TRACE(std::string(form->name) + (start ? ", start guarded" : ", end guarded"));
            GuardedBytes::guards_start = start;
            if (!testing::Test::HasFailure())
                test();
        }
    }
    GuardedBytes::guards_start = false;
    oxel::force_form(nullptr);
}
