// What the code-page converters share: where their output goes and how a conversion ends.
#pragma once

#include <bvplatform/types.h>

#include <cstddef>
#include <cstdint>

namespace bvplatform::text {

/// The destination of a conversion: the caller's buffer of fixed capacity, or no buffer at all
/// when the caller only asks for the size (then units are only counted).
template <typename Unit>
class Sink {
public:
    Sink(Unit* data, std::size_t capacity)
        : m_data(capacity != 0 ? data : nullptr), m_capacity(capacity) {}

    [[nodiscard]] bool Counting() const { return m_data == nullptr; }
    [[nodiscard]] std::size_t Size() const { return m_size; }
    /// Whether `count` more units fit (always, when counting).
    [[nodiscard]] bool Fits(std::size_t count) const {
        return Counting() || m_capacity - m_size >= count;
    }
    /// Units that still fit (no limit when counting).
    [[nodiscard]] std::size_t Room() const { return Counting() ? SIZE_MAX : m_capacity - m_size; }
    /// Where the next unit goes; null when counting.
    [[nodiscard]] Unit* Cursor() const { return m_data != nullptr ? m_data + m_size : nullptr; }
    /// Takes note of `count` units written at Cursor() (or counted).
    void Advance(std::size_t count) { m_size += count; }
    /// Appends one unit; the caller has checked Fits.
    void Put(Unit unit) {
        if (m_data != nullptr) {
            m_data[m_size] = unit;
        }
        ++m_size;
    }

private:
    Unit* m_data;           // the caller's buffer; null when only the size is wanted
    std::size_t m_capacity; // units the caller's buffer holds
    std::size_t m_size = 0; // units produced so far (written, or counted)
};

/// How a conversion ended.
struct Outcome {
    std::size_t length = 0;   // units written (or needed, when counting)
    DWORD error = 0;          // 0 on success, else the last-error code the call reports
    bool usedDefault = false; // some input had no mapping and became the default character
};

/// Appends `unit` if it fits; false when the destination is full.
template <typename Unit>
[[nodiscard]] bool Emit(Sink<Unit>& out, Unit unit) {
    if (!out.Fits(1)) {
        return false;
    }
    out.Put(unit);
    return true;
}

} // namespace bvplatform::text
