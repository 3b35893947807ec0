// String utilities. Sections: whitespace and trimming; case, comparing and searching;
// replacing, splitting and joining; URL coding; paths.
#include "Core/Common/StrUtils.h"

#include "Core/Common/Logger.h"

#include <bvplatform/crt.h>
#include <bvplatform/locale.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace {

constexpr char16_t kHexDigits[] = u"0123456789ABCDEF";
constexpr std::u16string_view kLooseUrlUnits = u"_.-!*()";

// Index of the first unit for which `keep` holds, from the left or (as one past it) the right.
template <typename Pred>
std::size_t FirstKept(const TStr& text, Pred keep) {
    return static_cast<std::size_t>(std::find_if(text.begin(), text.end(), keep) - text.begin());
}

template <typename Pred>
std::size_t LastKeptEnd(const TStr& text, Pred keep) {
    return static_cast<std::size_t>(text.rend() - std::find_if(text.rbegin(), text.rend(), keep));
}

template <typename Pred>
TStr TrimLeftWhere(const TStr& text, Pred keep) {
    return text.substr(FirstKept(text, keep));
}

template <typename Pred>
TStr TrimRightWhere(const TStr& text, Pred keep) {
    return text.substr(0, LastKeptEnd(text, keep));
}

auto NotUnit(WCHAR unit) {
    return [unit](WCHAR c) { return c != unit; };
}

void AppendHexByte(TStr& out, unsigned byte) {
    out += kHexDigits[byte >> 4];
    out += kHexDigits[byte & 0xF];
}

// Index of `pattern` (not empty) in `text` from `start` on, or npos. Candidates are found with
// memchr on one non-zero byte of the pattern's first unit, which the C library scans many units
// at a time; a byte hit in the wrong half of a unit is skipped.
std::size_t FindUnits(std::u16string_view text, std::u16string_view pattern,
                      std::size_t start = 0) {
    const char16_t first = pattern[0];
    if (first == u'\0' || start > text.size() || pattern.size() > text.size() - start ||
        std::endian::native != std::endian::little) {
        return text.find(pattern, start);
    }
    const unsigned char low = first & 0xFFu;
    const unsigned char key = low != 0 ? low : static_cast<unsigned char>(first >> 8);
    const std::size_t half = low != 0 ? 0 : 1; // where `key` sits inside a unit in memory
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t end = (text.size() - pattern.size() + 1) * 2; // bytes a match starts in
    for (std::size_t from = start * 2 + half; from < end;) {
        const void* hit = std::memchr(bytes + from, key, end - from);
        if (hit == nullptr) {
            break;
        }
        const auto offset =
            static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - bytes);
        if (offset % 2 == half && text.compare(offset / 2, pattern.size(), pattern) == 0) {
            return offset / 2;
        }
        from = offset + 1;
    }
    return std::u16string_view::npos;
}

// The pieces of a version text, or nothing for a bad one.
bool VersionPieces(const TStr& text, std::int64_t (&numbers)[3]) {
    if (!text.empty() && text[0] == u'.') {
        return false;
    }
    TStrVec pieces;
    if (mfStrSplitLine(text, u".", pieces) != 3) {
        return false;
    }
    for (int i = 0; i < 3; ++i) {
        numbers[i] = _wtoi64(pieces[static_cast<std::size_t>(i)].c_str());
    }
    return true;
}

} // namespace

// ---- Whitespace and trimming ---------------------------------------------------------------

bool mfIsWhitespace(WCHAR unit) {
    return iswspace(unit) != 0;
}

bool mfIsNotWhitespace(WCHAR unit) {
    return iswspace(unit) == 0;
}

TStr mfStrTrimLeft(const TStr& text) {
    return TrimLeftWhere(text, mfIsNotWhitespace);
}

TStr mfStrTrimRight(const TStr& text) {
    return TrimRightWhere(text, mfIsNotWhitespace);
}

TStr mfStrTrim(const TStr& text) {
    return mfStrTrimLeft(mfStrTrimRight(text));
}

TStr mfStrTrimLeft(const TStr& text, WCHAR unit) {
    return TrimLeftWhere(text, NotUnit(unit));
}

TStr mfStrTrimRight(const TStr& text, WCHAR unit) {
    return TrimRightWhere(text, NotUnit(unit));
}

TStr mfStrTrim(const TStr& text, WCHAR unit) {
    return mfStrTrimLeft(mfStrTrimRight(text, unit), unit);
}

TStr mfStrStripWhitespace(const TStr& text, bool left, bool right) {
    const TStr leftDone = left ? mfStrTrimLeft(text) : text;
    return right ? mfStrTrimRight(leftDone) : leftDone;
}

TStr mfStrStripTrailingNull(const TStr& text) {
    // The walk back stops at the start: a text of zero units only becomes empty.
    return mfStrTrimRight(text, u'\0');
}

// ---- Case, comparing and searching ---------------------------------------------------------

TStr mfStrToLower(const TStr& text) {
    TStr copy = text;
    if (!copy.empty()) {
        CharLowerW(copy.data());
    }
    return copy;
}

TStr mfStrToUpper(const TStr& text) {
    TStr copy(text.c_str());
    if (!copy.empty()) {
        CharUpperW(copy.data());
    }
    return copy;
}

void mfStrCapitalizeWords(TStr& text, const TStr& separators) {
    if (text.empty()) {
        return;
    }
    const auto capitalize = [&text](std::size_t at) {
        if (at < text.size() && iswlower(text[at]) != 0) {
            text[at] = towupper(text[at]);
        }
    };
    capitalize(0);
    for (std::size_t at = text.find_first_of(separators); at != TStr::npos;
         at = text.find_first_of(separators, at + 1)) {
        capitalize(at + 1);
    }
}

int mfStrCompare(const WCHAR* first, const WCHAR* second, bool ignoreCase) {
    const int result = CompareStringW(LOCALE_USER_DEFAULT, ignoreCase ? NORM_IGNORECASE : 0, first,
                                      -1, second, -1);
    return result == 0 ? -2 : result - 2;
}

int mfStrCompare(const TStr& first, const TStr& second, bool ignoreCase) {
    return mfStrCompare(first.c_str(), second.c_str(), ignoreCase);
}

int mfStrFind(const TStr& text, const TStr& pattern, bool ignoreCase) {
    if (text.empty() || pattern.empty()) {
        return -1;
    }
    const std::size_t at = ignoreCase ? FindUnits(mfStrToLower(text), mfStrToLower(pattern))
                                      : FindUnits(text, pattern);
    return at == TStr::npos ? -1 : static_cast<int>(at);
}

int mfStrFindFirstMismatchPosition(const TStr& first, const TStr& second) {
    const auto [a, b] = std::mismatch(first.begin(), first.end(), second.begin(), second.end());
    if (a == first.end() && b == second.end()) {
        return -1;
    }
    return static_cast<int>(a - first.begin());
}

bool mfStrIsDigits(const TStr& text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](WCHAR c) { return iswdigit(c) != 0; });
}

TStr mfStrExtractNumericSubString(const TStr& text) {
    constexpr std::u16string_view kDigits = u"0123456789";
    const std::size_t start = text.find_first_of(kDigits.data(), 0, kDigits.size());
    if (start == TStr::npos) {
        return {};
    }
    const std::size_t end = text.find_first_not_of(kDigits.data(), start, kDigits.size());
    return text.substr(start, end == TStr::npos ? TStr::npos : end - start);
}

int mfStrCompareBVVersions(const TStr& first, const TStr& second) {
    std::int64_t a[3] = {};
    std::int64_t b[3] = {};
    if (!VersionPieces(first, a) || !VersionPieces(second, b)) {
        core::LogAssertFailure("mfStrCompareBVVersions", __FILE__, __LINE__,
                               "! NOLOC(\"Bad arg passed into mfStrCompareBVVersions\")");
        return -2;
    }
    for (int i = 0; i < 3; ++i) {
        if (a[i] != b[i]) {
            return a[i] < b[i] ? -1 : 1;
        }
    }
    return 0;
}

// ---- Replacing, splitting and joining ------------------------------------------------------

void mfStrReplaceAll(TStr& text, WCHAR from, WCHAR to) {
    if (from != to) {
        std::replace(text.begin(), text.end(), from, to);
    }
}

void mfStrReplaceAll(TStr& text, const TStr& from, const TStr& to) {
    // An empty `from` would match everywhere without end: nothing is replaced.
    std::size_t at = from.empty() ? TStr::npos : FindUnits(text, from);
    if (at == TStr::npos) {
        return;
    }
    if (from.size() == to.size()) {
        // Nothing moves: overwrite in place and search on behind the inserted text.
        for (; at != TStr::npos; at = FindUnits(text, from, at + to.size())) {
            std::copy(to.begin(), to.end(), text.begin() + static_cast<std::ptrdiff_t>(at));
        }
        return;
    }
    // One pass into a new text: what is inserted is never searched again, as the in-place
    // walk would have it, without moving the tail at every match.
    TStr result;
    result.reserve(text.size());
    std::size_t done = 0;
    for (; at != TStr::npos; at = FindUnits(text, from, done)) {
        result.append(text, done, at - done);
        result += to;
        done = at + from.size();
    }
    result.append(text, done, TStr::npos);
    text.swap(result);
}

bool mfStrSplitLine(const TStr& line, const TStr& separator, TStr& left, TStr& right) {
    const std::size_t at = separator.empty() ? TStr::npos : line.find(separator);
    if (at == TStr::npos || at + separator.size() >= line.size()) {
        return false;
    }
    left = line.substr(0, at);
    right = line.substr(at + 1);
    return true;
}

unsigned mfStrSplitLine(const TStr& line, const TStr& separator, TStrVec& pieces) {
    if (line.empty() || separator.empty()) {
        return 0;
    }
    unsigned added = 0;
    const auto add = [&](std::size_t from, std::size_t to) {
        if (to > from) {
            pieces.push_back(line.substr(from, to - from));
            ++added;
        }
    };
    std::size_t start = 0;
    for (std::size_t at = line.find(separator); at != TStr::npos;
         at = line.find(separator, start)) {
        add(start, at);
        start = at + 1;
    }
    add(start, line.size());
    return added;
}

void mfStrSeparateJoinedLines(const std::vector<WCHAR>& buffer, TStrVec& lines) {
    auto at = buffer.begin();
    while (at != buffer.end() && *at != u'\0') {
        const auto end = std::find(at, buffer.end(), u'\0');
        lines.emplace_back(at, end);
        at = end == buffer.end() ? end : end + 1;
    }
}

TStr mfStrJoin(const TStr& first, const TStr& second) {
    if (first.empty()) {
        return second;
    }
    if (second.empty()) {
        return first;
    }
    return mfStrTrimRight(first, u'\\') + u'\\' + mfStrTrimLeft(second, u'\\');
}

// ---- URL coding ----------------------------------------------------------------------------

TStr mfStrUrlEncode(const TStr& text, bool strict) {
    TStr out;
    out.reserve(text.size());
    for (const WCHAR unit : text) {
        if (iswalnum(unit) != 0 ||
            (!strict && kLooseUrlUnits.find(unit) != std::u16string_view::npos)) {
            out += unit;
            continue;
        }
        out += u'%';
        if ((unit >> 8) != 0) {
            AppendHexByte(out, unit >> 8);
        }
        AppendHexByte(out, unit & 0xFFu);
    }
    return out;
}

TStr mfStrUrlUnencode(const TStr& text) {
    TStr out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != u'%') {
            out += text[i];
            continue;
        }
        const TStr digits = text.substr(i + 1, 2);
        out += static_cast<WCHAR>(wcstol(digits.c_str(), nullptr, 16));
        i += digits.size();
    }
    return out;
}

// ---- Paths ---------------------------------------------------------------------------------

TStr mfStrGetFilenameAndExtFromPath(const TStr& path) {
    if (path.empty()) {
        return {};
    }
    // The runtime cuts each piece to its _MAX_* size; the buffers hold that and a terminator.
    WCHAR fname[_MAX_FNAME] = {};
    WCHAR ext[_MAX_EXT] = {};
    _wsplitpath(path.c_str(), nullptr, nullptr, fname, ext);
    return TStr(fname) + ext;
}
