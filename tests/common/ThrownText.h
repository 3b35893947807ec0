// Checks the exact class of what an action throws and gives its description.
#pragma once

#include "Core/Common/Exc.h"

#include <gtest/gtest.h>

#include <typeinfo>

namespace bvtest {

/// The description of what `action` threw; the class must be exactly E.
template <class E, class F>
TStr ThrownText(F action) {
    try {
        action();
    } catch (const mcExc& e) {
        EXPECT_EQ(typeid(e).name(), typeid(E).name());
        return e.whatT();
    }
    ADD_FAILURE() << "nothing thrown";
    return {};
}

} // namespace bvtest
