// bvdiag: the diagnostics viewer. One window per station receives the loggers' lines; a writer
// thread prints them, so that no sender ever waits on the output.
#include "Follow.h"
#include "LineQueue.h"
#include "Options.h"
#include "Receiver.h"
#include "Station.h"
#include "Window.h"
#include "Writer.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>
#include <unistd.h>

namespace {

constexpr std::size_t kQueueCapacity = 65536;            // records waiting for output at most
constexpr std::uint64_t kLogLimit = 4 << 20;             // bytes before the log is rotated
constexpr std::chrono::milliseconds kWaitForFirst{2000}; // for a viewer that is starting

// Ends the process at once: the window thread sits in GetMessageW and the kernel releases the
// window's marks; running static destructors under it would race.
[[noreturn]] void Finish(std::FILE* copy, int code) {
    std::fflush(stdout);
    if (copy != nullptr) {
        std::fflush(copy);
    }
    _exit(code);
}

// Follows the viewer that runs already; a background start just leaves it alone.
int Second(const std::string& prefix, bool background) {
    if (background) {
        return 0;
    }
    HWND viewer = bvdiag::FindViewer();
    const auto giveUp = std::chrono::steady_clock::now() + kWaitForFirst;
    while (viewer == nullptr && std::chrono::steady_clock::now() < giveUp) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        viewer = bvdiag::FindViewer();
    }
    return bvdiag::FollowLog(prefix + "/bvdiag.log", viewer, stdout);
}

int RunViewer(const bvdiag::Options& options, const std::string& prefix, bool background) {
    std::FILE* copy = nullptr;
    if (!options.output.empty() && (copy = std::fopen(options.output.c_str(), "a")) == nullptr) {
        std::perror(options.output.c_str());
        return 2;
    }
    static bvdiag::LogFile log(prefix + "/bvdiag.log", kLogLimit);
    if (!log.Open() && background) {
        return 1; // nowhere to write
    }
    static bvdiag::LineQueue queue(kQueueCapacity);
    static bvdiag::Receiver receiver(queue);
    static bvdiag::Writer writer(
        options, queue, {background ? nullptr : stdout, copy, &log, background ? prefix : ""});
    std::thread([copy] {
        writer.Run();
        Finish(copy, 0);
    }).detach();
    Finish(copy, bvdiag::RunWindow(receiver));
}

} // namespace

int main(int argc, char** argv) {
    std::string error;
    const auto options =
        bvdiag::ParseOptions(std::vector<std::string>(argv + 1, argv + argc), error);
    if (!options) {
        std::fprintf(stderr, "bvdiag: %s (see --help)\n", error.c_str());
        return 2;
    }
    if (options->help) {
        std::fputs(bvdiag::UsageText(), stdout);
        return 0;
    }
    const std::string prefix = bvdiag::EnsurePrefix();
    if (prefix.empty()) {
        std::fprintf(stderr, "bvdiag: cannot create the prefix directory\n");
        return 1;
    }
    const bool background = options->background || (!options->foreground && bvdiag::StdoutIsNull());
    if (bvdiag::FindViewer() != nullptr || !bvdiag::TakeViewerLock(prefix)) {
        return Second(prefix, background);
    }
    return RunViewer(*options, prefix, background);
}
