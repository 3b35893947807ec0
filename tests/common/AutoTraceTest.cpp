// Scope tracing: the number form, the shapes of the two lines, and what the elapsed time
// counts.
#include "Core/Common/AutoTrace.h"

#include "Core/Common/AutoTracePrivate.h"
#include "Core/Common/StrConv.h"

#include "ViewerState.h"
#include "support/TestViewer.h"

#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <thread>

namespace {

// The texts of the write commands the viewer received, as UTF-8.
std::vector<std::string> Lines(const bvtest::TestViewer& viewer) {
    std::vector<std::string> lines;
    for (const auto& message : viewer.Messages()) {
        if (message.command == 7) {
            lines.push_back(mfConvertTToUTF8(message.Text()));
        }
    }
    return lines;
}

// The number after `marker` in `line`, e.g. the stamp after "[t = ".
double NumberAfter(const std::string& line, const std::string& marker) {
    const auto at = line.find(marker);
    EXPECT_NE(at, std::string::npos) << line;
    return at == std::string::npos ? -1 : std::stod(line.substr(at + marker.size()));
}

class AutoTrace : public ::testing::Test {
protected:
    void SetUp() override { bvtest::AttachViewer(m_viewer); }
    bvtest::TestViewer m_viewer;
};

} // namespace

TEST(AutoTraceSeconds, FixedThreeDecimalsRounded) {
    const struct {
        double seconds;
        const char16_t* text;
    } rows[] = {
        {0.0, u"0.000"},     {0.0004999, u"0.000"},
        {0.00051, u"0.001"}, {1.25, u"1.250"},
        {1.9996, u"2.000"},  {12.3449, u"12.345"},
        {0.503, u"0.503"},   {1e7 + 0.1234, u"10000000.123"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.seconds);
        EXPECT_EQ(core::detail::SecondsText(row.seconds), row.text);
    }
}

TEST_F(AutoTrace, LineShapes) {
    const mcStopwatch watch;
    const std::string stamp = R"(\[t = \d+\.\d{3} sec\]: )";
    const std::string elapsed = R"( \(elapsed = \d+\.\d{3} sec\))";
    const struct {
        const char* name;
        const mcStopwatch* watch;
        std::string entering; // pattern of the first line
        std::string exiting;  // pattern of the second
    } rows[] = {
        {"Startup", &watch, stamp + "Entering Startup", stamp + "Exiting Startup" + elapsed},
        {"Startup", nullptr, "Entering Startup", "Exiting Startup" + elapsed},
        {"", nullptr, "Entering ", "Exiting " + elapsed},
        {"Gr\xC3\xBC\xC3\x9F"
         "e",
         nullptr,
         "Entering Gr\xC3\xBC\xC3\x9F"
         "e",
         "Exiting Gr\xC3\xBC\xC3\x9F"
         "e" +
             elapsed},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.entering);
        m_viewer.ClearMessages();
        { mcAutoTrace trace(row.name, row.watch); }
        const auto lines = Lines(m_viewer);
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_TRUE(std::regex_match(lines[0], std::regex(row.entering))) << lines[0];
        EXPECT_TRUE(std::regex_match(lines[1], std::regex(row.exiting))) << lines[1];
    }
}

TEST_F(AutoTrace, ElapsedExcludesTheEnteringLineAndFitsBetweenTheStamps) {
    using std::chrono::milliseconds;
    m_viewer.OnMessage([](const bvtest::ViewerMessage& message) {
        if (message.command == 7 && message.Text().find(u"Entering") != TStr::npos) {
            std::this_thread::sleep_for(milliseconds(200)); // a slow viewer
        }
    });
    const mcStopwatch watch;
    {
        mcAutoTrace trace("Scope", &watch);
        std::this_thread::sleep_for(milliseconds(30));
    }
    const auto lines = Lines(m_viewer);
    ASSERT_EQ(lines.size(), 2u);
    const double elapsed = NumberAfter(lines[1], "(elapsed = ");
    EXPECT_GE(elapsed, 0.030);
    EXPECT_LT(elapsed, 0.200) << "the slow entering line does not count";
    const double entered = NumberAfter(lines[0], "[t = ");
    const double exited = NumberAfter(lines[1], "[t = ");
    EXPECT_GE(exited - entered, elapsed - 0.001) << "stamps are rounded to 1 ms";
    EXPECT_GE(exited - entered, 0.200) << "the stamps do count the slow line";
}
