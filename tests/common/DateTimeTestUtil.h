// Helpers of the date-time tests: values built field by field, field checks, and a TZ set for
// the length of a scope.
#pragma once

#include "Core/Common/DateTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace bvtest {

struct Fields {
    unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, millisecond = 0;
};

inline mcDateTime Make(const Fields& f) {
    mcDateTime v;
    mcDateTimeMangler m(v);
    m.Year(static_cast<std::uint16_t>(f.year));
    m.Month(static_cast<std::uint8_t>(f.month));
    m.Day(static_cast<std::uint8_t>(f.day));
    m.Hour(static_cast<std::uint8_t>(f.hour));
    m.Minute(static_cast<std::uint8_t>(f.minute));
    m.Second(static_cast<std::uint8_t>(f.second));
    m.Millisecond(static_cast<std::uint16_t>(f.millisecond));
    return v;
}

inline void ExpectFields(const mcDateTime& v, const Fields& f) {
    EXPECT_EQ(v.Year(), f.year);
    EXPECT_EQ(v.Month(), f.month);
    EXPECT_EQ(v.Day(), f.day);
    EXPECT_EQ(v.Hour(), f.hour);
    EXPECT_EQ(v.Minute(), f.minute);
    EXPECT_EQ(v.Second(), f.second);
    EXPECT_EQ(v.Millisecond(), f.millisecond);
}

/// Sets TZ for one test and restores the previous value.
class ScopedTz {
public:
    explicit ScopedTz(const char* tz) {
        const char* old = std::getenv("TZ");
        m_had = old != nullptr;
        m_old = m_had ? old : "";
        setenv("TZ", tz, 1);
    }
    ~ScopedTz() {
        if (m_had) {
            setenv("TZ", m_old.c_str(), 1);
        } else {
            unsetenv("TZ");
        }
    }

private:
    bool m_had;        // TZ was set before
    std::string m_old; // its value then
};

} // namespace bvtest
