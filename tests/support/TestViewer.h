// A diagnostics viewer inside the test process: a top-level window with the viewer's marks that
// records every WM_COPYDATA the library sends, as the real viewer would receive it.
#pragma once

#include <bvplatform/windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace bvtest {

struct ViewerMessage {
    ULONG_PTR command = 0;            // the copy-data record's data word
    DWORD bytes = 0;                  // its byte count
    std::vector<unsigned char> block; // a copy of the block as it arrived

    [[nodiscard]] std::uint32_t U32(std::size_t offset) const;
    /// The text field, by the count at offset 32 (without the terminator).
    [[nodiscard]] std::u16string Text() const;
};

class TestViewer {
public:
    struct Options {
        bool marked = true; // user data "BVTR"
        const char16_t* title = u"Brontavale_BVDiag";
        LRESULT openReply = 1;  // answer to command 2
        LRESULT otherReply = 0; // answer to other commands
    };

    TestViewer() : TestViewer(Options{}) {}
    explicit TestViewer(Options options);
    ~TestViewer(); // destroys the window if it still exists
    TestViewer(const TestViewer&) = delete;
    TestViewer& operator=(const TestViewer&) = delete;

    [[nodiscard]] const std::vector<ViewerMessage>& Messages() const { return m_messages; }
    /// Commands in arrival order.
    [[nodiscard]] std::vector<ULONG_PTR> Commands() const;
    void SetOpenReply(LRESULT reply) { m_options.openReply = reply; }
    void SetOtherReply(LRESULT reply) { m_options.otherReply = reply; }
    /// Called inside each WM_COPYDATA, after the message was recorded.
    void OnMessage(std::function<void(const ViewerMessage&)> hook) { m_hook = std::move(hook); }
    void ClearMessages() { m_messages.clear(); }
    void Destroy();

private:
    static LRESULT Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT Receive(const COPYDATASTRUCT& data);

    Options m_options;                                // marks and replies
    HWND m_window = nullptr;                          // null once destroyed
    std::vector<ViewerMessage> m_messages;            // every message received
    std::function<void(const ViewerMessage&)> m_hook; // optional observer
};

} // namespace bvtest
