// OutputDebugStringW/A and their test capture. With no debugger on the stand-in, the text goes
// to the innermost DebugOutputCapture, else where BV_DEBUG_OUTPUT says ("stderr" or a file),
// else nowhere.
#include "debug/sink.h"

#include <bvplatform/debug.h>
#include <bvplatform/testing.h>

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace bvplatform::detail {
namespace {

using DebugCaptureStack = CaptureStack<std::u16string>;

DebugCaptureStack& DebugCaptures() {
    static DebugCaptureStack& captures = *new DebugCaptureStack; // immortal: see CaptureStack
    return captures;
}

// The variable is read at every call, so a test or tool that changes it is obeyed at once.
void WriteToTarget(std::u16string_view text) {
    const char* variable = std::getenv("BV_DEBUG_OUTPUT");
    if (variable == nullptr || *variable == '\0' || text.empty()) {
        return;
    }
    const std::string target = variable;
    const std::string bytes = ToUtf8(text);
    if (target == "stderr") {
        WriteWhole(STDERR_FILENO, bytes);
        return;
    }
    const int fd = open(target.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        return;
    }
    WriteWhole(fd, bytes);
    close(fd);
}

} // namespace
} // namespace bvplatform::detail

void OutputDebugStringW(LPCWSTR lpOutputString) {
    using namespace bvplatform::detail;
    if (lpOutputString == nullptr) {
        return;
    }
    const std::u16string_view text(lpOutputString);
    if (DebugCaptures().Deliver([text] { return std::u16string(text); })) {
        return;
    }
    WriteToTarget(text);
}

void OutputDebugStringA(LPCSTR lpOutputString) {
    if (lpOutputString == nullptr) {
        return;
    }
    const std::u16string text = bvplatform::detail::FromUtf8(lpOutputString);
    OutputDebugStringW(text.c_str());
}

namespace bvplatform::testing {

struct DebugOutputCapture::State {
    detail::DebugCaptureStack::Log calls; // one entry per call; guarded by the stack's lock
};

DebugOutputCapture::DebugOutputCapture() : m_state(new State) {
    detail::DebugCaptures().Push(&m_state->calls);
}

DebugOutputCapture::~DebugOutputCapture() {
    detail::DebugCaptures().Remove(&m_state->calls);
    delete m_state;
}

std::vector<std::u16string> DebugOutputCapture::Calls() const {
    return detail::DebugCaptures().Copy(&m_state->calls);
}

std::u16string DebugOutputCapture::Text() const {
    std::u16string text;
    for (const std::u16string& call : Calls()) {
        text += call;
    }
    return text;
}

void DebugOutputCapture::Clear() {
    detail::DebugCaptures().Clear(&m_state->calls);
}

} // namespace bvplatform::testing
