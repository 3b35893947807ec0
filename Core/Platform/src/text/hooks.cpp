// Counting and failing conversion calls, per thread. The state is trivially destructible so
// that conversions made while a thread or the process ends still find it intact.
#include "text/hooks.h"

#include <bvplatform/testing.h>

#include <algorithm>

namespace bvplatform::text {
namespace {

struct PlannedFault {
    unsigned long callNumber; // number (since the thread started) of the call that fails
    DWORD error;              // the last error it reports
};

// Faults can nest this deep; deeper ones are counted but never fire.
constexpr int kMaxPlannedFaults = 8;

thread_local unsigned long t_calls = 0;                     // conversion calls on this thread
thread_local PlannedFault t_faults[kMaxPlannedFaults] = {}; // live faults, innermost last
thread_local int t_faultDepth = 0;                          // live ConversionFault objects

} // namespace

std::optional<DWORD> CountConversionCall() {
    const unsigned long number = t_calls++;
    for (int i = std::min(t_faultDepth, kMaxPlannedFaults); i-- > 0;) {
        if (t_faults[i].callNumber == number) {
            return t_faults[i].error;
        }
    }
    return std::nullopt;
}

} // namespace bvplatform::text

namespace bvplatform::testing {

unsigned long ConversionCallCount() {
    return text::t_calls;
}

ConversionFault::ConversionFault(unsigned long callIndex, DWORD error) {
    if (text::t_faultDepth < text::kMaxPlannedFaults) {
        text::t_faults[text::t_faultDepth] = {text::t_calls + callIndex, error};
    }
    ++text::t_faultDepth;
}

ConversionFault::~ConversionFault() {
    --text::t_faultDepth;
}

} // namespace bvplatform::testing
