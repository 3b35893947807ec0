// Where the debug area's texts end up when no test captures them: UTF-8 bytes written whole to
// standard error or a file, and the captures that tests put in their place.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace bvplatform::detail {

/// UTF-16 to UTF-8; a lone surrogate becomes U+FFFD (EF BF BD).
[[nodiscard]] std::string ToUtf8(std::u16string_view text);

/// UTF-8 (the active code page) to UTF-16; each invalid sequence becomes U+FFFD.
[[nodiscard]] std::u16string FromUtf8(std::string_view bytes);

/// Writes the bytes to the descriptor in one write(2) (more only if the kernel takes part of
/// them), holding a process-wide lock so that texts of different threads never interleave.
/// Errors are dropped: diagnostics never fail their caller.
void WriteWhole(int fd, std::string_view bytes);

/// The live captures of one kind, innermost last. Captures may be created and destroyed on any
/// thread in any order; the state is immortal so that texts sent during static destruction at
/// exit still find it.
template <class Entry>
class CaptureStack {
public:
    using Log = std::vector<Entry>;

    void Push(Log* log) {
        std::lock_guard lock(m_lock);
        m_logs.push_back(log);
    }

    void Remove(const Log* log) {
        std::lock_guard lock(m_lock);
        std::erase(m_logs, log);
    }

    /// Appends make() to the innermost capture. False (and make not called) when none is alive.
    template <class Make>
    bool Deliver(Make&& make) {
        std::lock_guard lock(m_lock);
        if (m_logs.empty()) {
            return false;
        }
        m_logs.back()->push_back(make());
        return true;
    }

    [[nodiscard]] Log Copy(const Log* log) const {
        std::lock_guard lock(m_lock);
        return *log;
    }

    void Clear(Log* log) {
        std::lock_guard lock(m_lock);
        log->clear();
    }

private:
    mutable std::mutex m_lock; // guards m_logs and the contents of every log in it
    std::vector<Log*> m_logs;  // live captures in creation order; the last one receives
};

} // namespace bvplatform::detail
