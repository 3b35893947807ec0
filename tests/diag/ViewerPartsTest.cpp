// The viewer's parts in this process: the checks on a message block, the channel table, the
// printed forms, the bounded queue, the options and the writer's filters, limit and log.
#include "LineQueue.h"
#include "LogFile.h"
#include "Options.h"
#include "Receiver.h"
#include "Record.h"
#include "Writer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>

using namespace bvdiag;

namespace {

// A message block as the library fills it; tests then spoil one field.
struct Block {
    std::array<unsigned char, 8104> bytes{};
    COPYDATASTRUCT data{7, 8104, nullptr};

    Block(ULONG_PTR command, std::uint32_t channel, const std::u16string& text) {
        data.dwData = command;
        data.lpData = bytes.data();
        Put(0, 8104);
        Put(4, channel);
        Put(32, static_cast<std::uint32_t>(text.size() + 1));
        for (std::size_t i = 0; i < text.size(); ++i) {
            bytes[36 + 2 * i] = static_cast<unsigned char>(text[i]);
            bytes[37 + 2 * i] = static_cast<unsigned char>(text[i] >> 8);
        }
    }
    void Put(std::size_t offset, std::uint32_t value) {
        for (int i = 0; i < 4; ++i) {
            bytes[offset + i] = static_cast<unsigned char>(value >> (8 * i));
        }
    }
};

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// What a writer put into an anonymous file.
std::string Contents(std::FILE* file) {
    std::fflush(file);
    std::rewind(file);
    std::string text;
    for (int c = 0; (c = std::fgetc(file)) != EOF;) {
        text.push_back(static_cast<char>(c));
    }
    return text;
}

Record At(Command command, DWORD pid, const std::u16string& logger, const std::u16string& text) {
    Record record;
    record.received =
        std::chrono::system_clock::time_point(std::chrono::milliseconds(1795470029123));
    record.pid = pid;
    record.command = command;
    record.channel = 5;
    record.logger = logger;
    record.text = text;
    return record;
}

} // namespace

TEST(ViewerBlock, OnlyWellFormedBlocksDecode) {
    const struct {
        const char* name;
        void (*spoil)(Block&);
    } rows[] = {
        {"unknown command", [](Block& b) { b.data.dwData = 5; }},
        {"byte count 8103", [](Block& b) { b.data.cbData = 8103; }},
        {"no data", [](Block& b) { b.data.lpData = nullptr; }},
        {"size field", [](Block& b) { b.Put(0, 8000); }},
        {"count 0", [](Block& b) { b.Put(32, 0); }},
        {"count 4001", [](Block& b) { b.Put(32, 4001); }},
        {"count huge", [](Block& b) { b.Put(32, 0xFFFFFFFF); }},
        {"no terminator", [](Block& b) { b.bytes[36 + 2 * 5] = 'x'; }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        Block block(7, 1, u"hello");
        row.spoil(block);
        EXPECT_FALSE(DecodeMessage(block.data).has_value());
    }
    const std::u16string longest(3999, u'x');
    for (const std::u16string& text : {std::u16string(u"hello"), std::u16string(), longest}) {
        const auto line = DecodeMessage(Block(7, 3, text).data);
        ASSERT_TRUE(line) << text.size();
        EXPECT_EQ(line->command, Command::Write);
        EXPECT_EQ(line->channel, 3u);
        EXPECT_EQ(line->text, text);
    }
}

TEST(ViewerReceiver, ChannelsAreNewAtEveryOpenAndLinesCarryTheirLogger) {
    LineQueue queue(100);
    Receiver receiver(queue);
    const LRESULT first = receiver.OnCopyData(10, Block(2, 0, u"CORE").data);
    const LRESULT second = receiver.OnCopyData(11, Block(2, 0, u"CORE").data);
    EXPECT_EQ(receiver.OnCopyData(10, Block(7, first, u"one").data), 0);
    EXPECT_EQ(receiver.OnCopyData(10, Block(3, first, u"one").data), 0);
    const LRESULT third = receiver.OnCopyData(12, Block(2, 0, u"Player").data);
    EXPECT_EQ(receiver.OnCopyData(13, Block(7, 9999, u"stale").data), 0);
    EXPECT_EQ(receiver.OnCopyData(13, Block(9, 9999, u"bad").data), kIgnored);
    EXPECT_EQ(receiver.Ignored(), 1u);
    EXPECT_GE(first, 0);
    EXPECT_EQ(std::set<LRESULT>({first, second, third}).size(), 3u) << "never given twice";

    std::vector<std::string> shown; // machine records without the time
    for (const Record& record : queue.Take(std::chrono::milliseconds(0)).records) {
        const std::string line = FormatMachine(record);
        shown.push_back(line.substr(line.find('\t') + 1));
    }
    const auto n = [](LRESULT channel) { return std::to_string(channel); };
    EXPECT_EQ(shown, (std::vector<std::string>{
                         "10\t2\t" + n(first) + "\tCORE\tCORE\n",
                         "11\t2\t" + n(second) + "\tCORE\tCORE\n",
                         "10\t7\t" + n(first) + "\tCORE\tone\n",
                         "10\t3\t" + n(first) + "\tCORE\t\n",
                         "12\t2\t" + n(third) + "\tPlayer\tPlayer\n",
                         "13\t7\t9999\t\tstale\n",
                     }));
}

TEST(ViewerRecord, MachineFormEscapesEveryControlAndSeparator) {
    const struct {
        std::u16string text;
        std::string shown;
    } rows[] = {
        {u"plain", "plain"},
        {u"a\tb\nc\rd", "a\\tb\\nc\\rd"},
        {u"C:\\dir", "C:\\\\dir"},
        {u"\x01\x1f\x7f", "\\x01\\x1f\\x7f"},
        {u"\u00e9\u20ac", "\xC3\xA9\xE2\x82\xAC"},
        {u"\xD83C\xDFB5", "\xF0\x9F\x8E\xB5"},
        {std::u16string(1, u'\xD800') + u"x", "\xEF\xBF\xBDx"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.shown);
        EXPECT_EQ(FormatMachine(At(Command::Write, 42, u"CO\tRE", row.text)),
                  "1795470029123\t42\t7\t5\tCO\\tRE\t" + row.shown + "\n");
    }
}

TEST(ViewerRecord, HumanFormIsOneLineWithPictures) {
    setenv("TZ", "UTC", 1);
    tzset();
    const struct {
        Record record;
        std::string shown;
    } rows[] = {
        {At(Command::Write, 42, u"CORE", u"two\nlines\t!"),
         "2026-11-23 21:40:29.123 [pid 42] CORE: two\xE2\x90\x8Alines\xE2\x90\x89!\n"},
        {At(Command::Open, 42, u"CORE", u"CORE"),
         "2026-11-23 21:40:29.123 [pid 42] CORE: -- channel 5 opened\n"},
        {At(Command::Close, 7, u"", u""),
         "2026-11-23 21:40:29.123 [pid 7] ?: -- channel 5 closed\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.shown);
        EXPECT_EQ(FormatHuman(row.record), row.shown);
    }
}

TEST(ViewerQueue, OverflowDropsAndCounts) {
    LineQueue queue(3);
    for (int i = 0; i < 5; ++i) {
        queue.Push(At(Command::Write, static_cast<DWORD>(i), u"L", u"x"));
    }
    auto batch = queue.Take(std::chrono::milliseconds(0));
    ASSERT_EQ(batch.records.size(), 3u);
    EXPECT_EQ(batch.records[2].pid, 2u) << "the oldest are kept, in order";
    EXPECT_EQ(batch.dropped, 2u);
    batch = queue.Take(std::chrono::milliseconds(0));
    EXPECT_TRUE(batch.records.empty());
    EXPECT_EQ(batch.dropped, 0u) << "counted once";
}

TEST(ViewerOptions, ParsesAndRefuses) {
    std::string error;
    const auto options = ParseOptions({"--machine", "--pid", "12", "--pid", "13", "--logger",
                                       "core", "--output", "/tmp/x", "--exit-after", "8000"},
                                      error);
    ASSERT_TRUE(options) << error;
    EXPECT_TRUE(options->machine);
    EXPECT_EQ(options->pids, (std::vector<DWORD>{12, 13}));
    EXPECT_EQ(options->logger, "core");
    EXPECT_EQ(options->output, "/tmp/x");
    EXPECT_EQ(options->exitAfter, 8000u);
    EXPECT_FALSE(options->background);

    const std::vector<std::vector<std::string>> refused = {
        {"--pid"},
        {"--pid", "x"},
        {"--pid", "4294967296"},
        {"--exit-after", "-1"},
        {"--bogus"},
        {"--foreground", "--background"},
    };
    for (const auto& args : refused) {
        SCOPED_TRACE(args[0]);
        error.clear();
        EXPECT_FALSE(ParseOptions(args, error));
        EXPECT_FALSE(error.empty());
    }
}

TEST(ViewerWriter, FiltersCountOnlyShownLinesAndTheLogTakesEverything) {
    const auto dir =
        std::filesystem::temp_directory_path() / ("bvdiag-writer-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    LogFile log((dir / "bvdiag.log").string(), 1 << 20);
    ASSERT_TRUE(log.Open());
    Options options;
    options.machine = true;
    options.logger = "play";
    options.pids = {42};
    options.exitAfter = 2;
    LineQueue queue(10);
    std::FILE* out = std::tmpfile();
    Writer writer(options, queue, {out, nullptr, &log, ""});
    LineQueue::Batch batch;
    batch.records = {At(Command::Open, 42, u"Player", u"Player"),
                     At(Command::Write, 42, u"Player", u"1"),
                     At(Command::Write, 43, u"Player", u"other pid"),
                     At(Command::Write, 42, u"CORE", u"other logger")};
    EXPECT_TRUE(writer.WriteBatch(batch)) << "one line shown of two";
    batch.dropped = 3;
    batch.records = {At(Command::Write, 42, u"PLAYER", u"2"),
                     At(Command::Write, 42, u"Player", u"3")};
    EXPECT_FALSE(writer.WriteBatch(batch)) << "the second shown line ends the viewer";

    const std::string shown = Contents(out);
    EXPECT_NE(shown.find("\t2\t5\tPlayer\tPlayer\n"), std::string::npos);
    EXPECT_NE(shown.find("\t7\t5\tPlayer\t1\n"), std::string::npos);
    EXPECT_NE(shown.find("\t7\t5\tPLAYER\t2\n"), std::string::npos);
    EXPECT_NE(shown.find("\t0\t0\tbvdiag\t3 lines dropped"), std::string::npos);
    for (const char* hidden : {"other pid", "other logger", "\t3\n"}) {
        EXPECT_EQ(shown.find(hidden), std::string::npos) << hidden;
    }
    const std::string logged = ReadFile(log.Path());
    EXPECT_NE(logged.find("other pid"), std::string::npos) << "the log is not filtered";
    struct stat info {};
    ASSERT_EQ(stat(log.Path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    std::fclose(out);
    std::filesystem::remove_all(dir);
}

TEST(ViewerLog, RotatesAtItsLimit) {
    const auto dir =
        std::filesystem::temp_directory_path() / ("bvdiag-rotate-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const std::string path = (dir / "bvdiag.log").string();
    {
        LogFile log(path, 10);
        ASSERT_TRUE(log.Open());
        log.Write("first line\n"); // 11 bytes: full
        log.Write("second\n");
    }
    EXPECT_EQ(ReadFile(path + ".1"), "first line\n");
    EXPECT_EQ(ReadFile(path), "second\n");
    std::filesystem::remove_all(dir);
}
