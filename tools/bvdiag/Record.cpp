// The printed forms of a record. Texts are neutralised in UTF-16 first and converted to UTF-8
// once, so no sender can forge a record boundary or steer the terminal.
#include "Record.h"

#include <bvplatform/text.h>

#include <cstdio>
#include <ctime>

namespace bvdiag {
namespace {

bool IsControl(char16_t unit) {
    return unit < 0x20 || unit == 0x7F;
}

// Control characters as their pictures: U+2400 + code, DEL as U+2421.
std::u16string Pictured(const std::u16string& text) {
    std::u16string out = text;
    for (char16_t& unit : out) {
        if (IsControl(unit)) {
            unit = unit == 0x7F ? u'\u2421' : static_cast<char16_t>(0x2400 + unit);
        }
    }
    return out;
}

void AppendEscape(std::u16string& out, char16_t unit) {
    switch (unit) {
    case u'\\':
        out += u"\\\\";
        return;
    case u'\t':
        out += u"\\t";
        return;
    case u'\n':
        out += u"\\n";
        return;
    case u'\r':
        out += u"\\r";
        return;
    default:
        break;
    }
    static constexpr char16_t kHex[] = u"0123456789abcdef";
    out += u"\\x";
    out += kHex[unit >> 4];
    out += kHex[unit & 0xF];
}

std::u16string Escaped(const std::u16string& text) {
    std::u16string out;
    out.reserve(text.size());
    for (char16_t unit : text) {
        if (unit == u'\\' || IsControl(unit)) {
            AppendEscape(out, unit);
        } else {
            out += unit;
        }
    }
    return out;
}

std::string LocalStamp(std::chrono::system_clock::time_point when) {
    using namespace std::chrono;
    const auto ms = duration_cast<milliseconds>(when.time_since_epoch()).count();
    const std::time_t seconds = static_cast<std::time_t>(ms / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    char buffer[40];
    const std::size_t used = std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(buffer + used, sizeof buffer - used, ".%03d", static_cast<int>(ms % 1000));
    return buffer;
}

std::u16string HumanBody(const Record& record) {
    const std::u16string channel = Utf16(std::to_string(record.channel));
    switch (record.command) {
    case Command::Open:
        return u"-- channel " + channel + u" opened";
    case Command::Close:
        return u"-- channel " + channel + u" closed";
    case Command::Write:
    case Command::Notice:
        break;
    }
    return Pictured(record.text);
}

} // namespace

std::u16string Utf16(const std::string& ascii) {
    return std::u16string(ascii.begin(), ascii.end());
}

std::string Utf8(const std::u16string& text) {
    if (text.empty()) {
        return {};
    }
    const int units = static_cast<int>(text.size());
    std::string out(text.size() * 3, '\0'); // 3 bytes per unit at most
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, out.data(),
                                          static_cast<int>(out.size()), nullptr, nullptr);
    out.resize(bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
    return out;
}

std::string FormatHuman(const Record& record) {
    const std::u16string logger = record.logger.empty() ? u"?" : Pictured(record.logger);
    return LocalStamp(record.received) + " [pid " + std::to_string(record.pid) + "] " +
           Utf8(logger) + ": " + Utf8(HumanBody(record)) + "\n";
}

std::string FormatMachine(const Record& record) {
    using namespace std::chrono;
    const auto ms = duration_cast<milliseconds>(record.received.time_since_epoch()).count();
    return std::to_string(ms) + "\t" + std::to_string(record.pid) + "\t" +
           std::to_string(static_cast<int>(record.command)) + "\t" +
           std::to_string(record.channel) + "\t" + Utf8(Escaped(record.logger)) + "\t" +
           Utf8(Escaped(record.text)) + "\n";
}

} // namespace bvdiag
