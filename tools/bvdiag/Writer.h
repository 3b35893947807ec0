// The writer thread's work: takes records off the queue, filters and formats them, and writes
// them to standard output, the --output copy and the viewer's log. Output may block here; it
// never blocks a sender.
#pragma once

#include "LineQueue.h"
#include "LogFile.h"
#include "Options.h"

#include <cstdio>
#include <memory>
#include <string>

namespace bvdiag {

/// Whether the filters let `record` through.
[[nodiscard]] bool Shown(const Options& options, const Record& record);

class Writer {
public:
    struct Targets {
        std::FILE* out = nullptr;     // standard output; null in the background
        std::FILE* copy = nullptr;    // the --output file; null for none
        LogFile* log = nullptr;       // the viewer's log; null for none
        std::string watchedDirectory; // exit once this is gone; empty: never
    };

    Writer(const Options& options, LineQueue& queue, Targets targets)
        : m_options(options), m_queue(queue), m_targets(std::move(targets)) {}

    /// Writes until --exit-after is reached or the watched directory is gone.
    void Run();
    /// Writes one batch; false when the viewer should end.
    bool WriteBatch(const LineQueue::Batch& batch);

private:
    void Show(const std::string& text);
    void WriteRecord(const Record& record);
    void NoteDropped(std::size_t dropped);
    [[nodiscard]] bool DirectoryGone() const;

    const Options& m_options;  // filters, format and limit
    LineQueue& m_queue;        // the source
    Targets m_targets;         // the destinations
    std::uint64_t m_shown = 0; // lines (command 7) shown so far
    std::string m_logText;     // the log's share of the batch being written
};

} // namespace bvdiag
