// The bounded queue between the window procedure and the writer thread. Pushing never waits on
// output: when the writer falls behind, records are dropped and counted, so a stalled terminal
// never stalls the senders.
#pragma once

#include "Record.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

namespace bvdiag {

class LineQueue {
public:
    explicit LineQueue(std::size_t capacity) : m_capacity(capacity) {}

    /// Queues a record; false (and one more drop counted) when the queue is full.
    bool Push(Record record);

    struct Batch {
        std::vector<Record> records; // in arrival order
        std::size_t dropped = 0;     // records lost since the previous batch
    };
    /// Everything queued, waiting up to `wait` for the first record.
    [[nodiscard]] Batch Take(std::chrono::milliseconds wait);

private:
    const std::size_t m_capacity;   // records held at most
    std::mutex m_mutex;             // guards the members below
    std::condition_variable m_wake; // signalled when a record arrives
    std::deque<Record> m_records;   // waiting for the writer
    std::size_t m_dropped = 0;      // lost since the last Take
};

} // namespace bvdiag
