#include "Writer.h"

#include <algorithm>
#include <cctype>
#include <sys/stat.h>
#include <thread>

namespace bvdiag {
namespace {

constexpr std::chrono::milliseconds kPoll{250}; // how often the watched directory is checked
// Rest after each batch, so that a burst of lines is written in few system calls and the
// senders' window thread is not woken against the writer for every line.
constexpr std::chrono::milliseconds kGather{2};

bool ContainsIgnoringCase(const std::string& haystack, const std::string& needle) {
    const auto it = std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end(),
                                [](char a, char b) {
                                    return std::tolower(static_cast<unsigned char>(a)) ==
                                           std::tolower(static_cast<unsigned char>(b));
                                });
    return it != haystack.end();
}

} // namespace

bool Shown(const Options& options, const Record& record) {
    if (!options.pids.empty() &&
        std::find(options.pids.begin(), options.pids.end(), record.pid) == options.pids.end()) {
        return false;
    }
    return options.logger.empty() || ContainsIgnoringCase(Utf8(record.logger), options.logger);
}

void Writer::Run() {
    for (;;) {
        if (!WriteBatch(m_queue.Take(kPoll)) || DirectoryGone()) {
            return;
        }
        std::this_thread::sleep_for(kGather);
    }
}

bool Writer::WriteBatch(const LineQueue::Batch& batch) {
    m_logText.clear();
    NoteDropped(batch.dropped);
    for (const Record& record : batch.records) {
        WriteRecord(record);
        if (m_options.exitAfter != 0 && m_shown >= m_options.exitAfter) {
            break;
        }
    }
    if (m_targets.log != nullptr && !m_logText.empty()) {
        m_targets.log->Write(m_logText); // one write per batch
    }
    for (std::FILE* file : {m_targets.out, m_targets.copy}) {
        if (file != nullptr) {
            std::fflush(file);
        }
    }
    return m_options.exitAfter == 0 || m_shown < m_options.exitAfter;
}

void Writer::WriteRecord(const Record& record) {
    if (m_targets.log != nullptr) {
        m_logText += FormatHuman(record);
    }
    if (!Shown(m_options, record)) {
        return;
    }
    Show(m_options.machine ? FormatMachine(record) : FormatHuman(record));
    m_shown += record.command == Command::Write ? 1 : 0;
}

void Writer::Show(const std::string& text) {
    for (std::FILE* file : {m_targets.out, m_targets.copy}) {
        if (file != nullptr) {
            std::fwrite(text.data(), 1, text.size(), file);
        }
    }
}

// A notice from the viewer itself: pid 0, command 0.
void Writer::NoteDropped(std::size_t dropped) {
    if (dropped == 0) {
        return;
    }
    Record notice;
    notice.received = std::chrono::system_clock::now();
    notice.command = Command::Notice;
    notice.logger = u"bvdiag";
    notice.text = Utf16(std::to_string(dropped) + " lines dropped: the output fell behind");
    if (m_targets.log != nullptr) {
        m_logText += FormatHuman(notice);
    }
    Show(m_options.machine ? FormatMachine(notice) : FormatHuman(notice));
}

bool Writer::DirectoryGone() const {
    struct stat info {};
    return !m_targets.watchedDirectory.empty() &&
           stat(m_targets.watchedDirectory.c_str(), &info) != 0;
}

} // namespace bvdiag
