#include "support.h"

#include "forms/forms.h"

#include <gtest/gtest.h>

void for_each_form(const std::function<void()> &test) {
    for (const oxel::Form *form : oxel::all_forms()) {
        if (!form->runs_here() || testing::Test::HasFailure())
            continue;
        SCOPED_TRACE(form->name);
        oxel::force_form(form);
        test();
    }
    oxel::force_form(nullptr);
}
