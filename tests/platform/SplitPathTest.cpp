// _wsplitpath: recorded answers, parts asked for one by one, long parts and a null path.
#include "support/RefData.h"

#include <bvplatform/crt.h>

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <string>
#include <vector>

namespace {

using bvtest::Show;

const std::array<std::string, 4> kNames = {"drive", "dir", "fname", "ext"};
const std::array<int, 4> kRooms = {_MAX_DRIVE, _MAX_DIR, _MAX_FNAME, _MAX_EXT};

// Splits into out buffers of the runtime's sizes plus a guard unit, prefilled; `wanted` picks
// the out-pointers passed (the others are null). Checks the guards.
std::array<std::u16string, 4> Split(const WCHAR* path, unsigned wanted = 0xF) {
    std::array<std::vector<WCHAR>, 4> buffers;
    WCHAR* out[4] = {};
    for (int i = 0; i < 4; ++i) {
        buffers[i].assign(kRooms[i] + 1, 0xCCCC);
        out[i] = (wanted >> i & 1) != 0 ? buffers[i].data() : nullptr;
    }
    _wsplitpath(path, out[0], out[1], out[2], out[3]);
    std::array<std::u16string, 4> parts;
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(buffers[i].back(), 0xCCCC) << kNames[i] << " overran";
        parts[i] = out[i] != nullptr ? buffers[i].data() : u"";
    }
    return parts;
}

TEST(SplitPath, ReferenceRows) {
    const auto rows = bvtest::RefTable::Load("paths.tsv").WithPrefix("_wsplitpath.");
    ASSERT_FALSE(rows.empty());
    for (const auto& row : rows) {
        SCOPED_TRACE(row.key + " (line " + std::to_string(row.line) + ")");
        const auto key = bvtest::SplitKey(row.key);
        const std::u16string path = bvtest::ParseUtf16(key[1]);
        const bool onlyExt = key[2] == "only_ext";
        const auto index =
            onlyExt ? 3 : std::find(kNames.begin(), kNames.end(), key[2]) - kNames.begin();
        ASSERT_LT(index, 4);
        const auto parts = Split(path.c_str(), onlyExt ? 0x8 : 0xF);
        EXPECT_EQ(Show(parts[index]), Show(bvtest::ParseUtf16(row.value)));
    }
}

TEST(SplitPath, AllPartsAlsoOneByOne) {
    const std::array<std::u16string, 5> rows[] = {
        {u"C:\\music\\song.MP3", u"C:", u"\\music\\", u"song", u".MP3"},
        {u"a/b/.c", u"", u"a/b/", u"", u".c"},
        {u"x.y.z/", u"", u"x.y.z/", u"", u""},
        {u"a:b:c.d", u"a:", u"", u"b:c", u".d"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(Show(row[0]));
        const auto all = Split(row[0].c_str());
        for (int i = 0; i < 4; ++i) {
            EXPECT_EQ(Show(all[i]), Show(row[i + 1])) << kNames[i];
            EXPECT_EQ(Show(Split(row[0].c_str(), 1u << i)[i]), Show(row[i + 1])) << kNames[i];
        }
    }
}

TEST(SplitPath, LongPartsAreCutToTheRuntimeSizes) {
    const std::u16string dir = u"\\" + std::u16string(300, u'd') + u"\\";
    const std::u16string name(300, u'n');
    const std::u16string ext = u"." + std::u16string(300, u'e');
    const auto parts = Split((u"C:" + dir + name + ext).c_str());
    EXPECT_EQ(parts[1], dir.substr(0, _MAX_DIR - 1));
    EXPECT_EQ(parts[2], name.substr(0, _MAX_FNAME - 1));
    EXPECT_EQ(parts[3], ext.substr(0, _MAX_EXT - 1));
}

TEST(SplitPath, NullPathGivesEmptyPartsAndEinval) {
    errno = 0;
    const auto parts = Split(nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(parts, (std::array<std::u16string, 4>{}));
}

} // namespace
