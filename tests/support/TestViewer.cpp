#include "support/TestViewer.h"

#include <cstring>
#include <map>
#include <mutex>

namespace bvtest {
namespace {

constexpr LONG kViewerMark = 0x52545642;
constexpr const char16_t* kClassName = u"BVTestViewer";

std::mutex g_mutex;
std::map<HWND, TestViewer*> g_viewers; // the viewer object behind each test window

void RegisterOnce(WNDPROC procedure) {
    static std::once_flag once;
    std::call_once(once, [procedure] {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = procedure;
        windowClass.lpszClassName = kClassName;
        RegisterClassW(&windowClass);
    });
}

} // namespace

std::uint32_t ViewerMessage::U32(std::size_t offset) const {
    return static_cast<std::uint32_t>(block.at(offset)) |
           static_cast<std::uint32_t>(block.at(offset + 1)) << 8 |
           static_cast<std::uint32_t>(block.at(offset + 2)) << 16 |
           static_cast<std::uint32_t>(block.at(offset + 3)) << 24;
}

std::u16string ViewerMessage::Text() const {
    const std::uint32_t count = U32(32);
    std::u16string text;
    for (std::uint32_t i = 0; i + 1 < count; ++i) {
        text.push_back(static_cast<char16_t>(block.at(36 + 2 * i) | block.at(37 + 2 * i) << 8));
    }
    return text;
}

TestViewer::TestViewer(Options options) : m_options(options) {
    RegisterOnce(&TestViewer::Procedure);
    m_window = CreateWindowExW(0, kClassName, m_options.title, 0, 0, 0, 0, 0, nullptr, nullptr,
                               nullptr, nullptr);
    {
        std::lock_guard lock(g_mutex);
        g_viewers[m_window] = this;
    }
    if (m_options.marked) {
        SetWindowLongW(m_window, GWL_USERDATA, kViewerMark);
    }
}

TestViewer::~TestViewer() {
    Destroy();
}

void TestViewer::Destroy() {
    if (m_window == nullptr) {
        return;
    }
    DestroyWindow(m_window);
    std::lock_guard lock(g_mutex);
    g_viewers.erase(m_window);
    m_window = nullptr;
}

std::vector<ULONG_PTR> TestViewer::Commands() const {
    std::vector<ULONG_PTR> commands;
    for (const auto& message : m_messages) {
        commands.push_back(message.command);
    }
    return commands;
}

LRESULT TestViewer::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message != WM_COPYDATA) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    TestViewer* viewer = nullptr;
    {
        std::lock_guard lock(g_mutex);
        const auto it = g_viewers.find(window);
        viewer = it == g_viewers.end() ? nullptr : it->second;
    }
    return viewer ? viewer->Receive(*reinterpret_cast<const COPYDATASTRUCT*>(lParam)) : 0;
}

LRESULT TestViewer::Receive(const COPYDATASTRUCT& data) {
    ViewerMessage message;
    message.command = data.dwData;
    message.bytes = data.cbData;
    const auto* bytes = static_cast<const unsigned char*>(data.lpData);
    message.block.assign(bytes, bytes + data.cbData);
    m_messages.push_back(message);
    if (m_hook) {
        m_hook(m_messages.back());
    }
    return message.command == 2 ? m_options.openReply : m_options.otherReply;
}

} // namespace bvtest
