#include "LineQueue.h"

namespace bvdiag {

bool LineQueue::Push(Record record) {
    {
        std::lock_guard lock(m_mutex);
        if (m_records.size() >= m_capacity) {
            ++m_dropped;
            return false;
        }
        m_records.push_back(std::move(record));
    }
    m_wake.notify_one();
    return true;
}

LineQueue::Batch LineQueue::Take(std::chrono::milliseconds wait) {
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, wait, [this] { return !m_records.empty() || m_dropped != 0; });
    Batch batch;
    batch.records.assign(std::make_move_iterator(m_records.begin()),
                         std::make_move_iterator(m_records.end()));
    m_records.clear();
    batch.dropped = m_dropped;
    m_dropped = 0;
    return batch;
}

} // namespace bvdiag
