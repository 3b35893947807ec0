// The scope-tracing section of the bvcore tour.
#include "TourSections.h"

#include "Core/Common/AutoTrace.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace bvtool {

namespace {

void LoadSkin() {
    mcAutoTrace trace("LoadSkin", nullptr);
    std::this_thread::sleep_for(std::chrono::milliseconds(15));
}

} // namespace

void TourTrace() {
    std::printf("\n== Scope tracing: entering and exiting lines with times\n");
    std::printf("A start-up stopwatch, a traced scope and one nested without the stopwatch:\n");
    const mcStopwatch startup;
    {
        mcAutoTrace trace("Startup", &startup);
        LoadSkin();
    }
    std::printf("The lines went to the CORE logger, one message each. Here the viewer is this\n"
                "process's stand-in window; otherwise bvdiag shows them, and a bvdiag that the\n"
                "library starts itself writes them to bvdiag.log in the prefix.\n");
}

} // namespace bvtool
