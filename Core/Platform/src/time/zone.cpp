// Sections: calendar helpers, the POSIX rule parser, reading tzdata files, the zone cache.
#include "time/zone.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <mutex>

namespace bvplatform::time {

// ---- calendar ------------------------------------------------------------------------------

std::int64_t DaysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
    // Months are carried into the year first, so that any month counts.
    year += (month - 1 >= 0 ? (month - 1) / 12 : -((12 - month) / 12));
    month = ((month - 1) % 12 + 12) % 12 + 1;
    // Count from 1 March of a 400-year era, so that the leap day ends the counted year.
    const std::int64_t y = month <= 2 ? year - 1 : year;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const std::int64_t yearOfEra = y - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

void CivilFromDays(std::int64_t days, std::int64_t& year, int& month, int& day) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t mp = (5 * dayOfYear + 2) / 153;
    day = static_cast<int>(dayOfYear - (153 * mp + 2) / 5 + 1);
    month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);
}

namespace {

bool PrvLeap(std::int64_t year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int PrvMonthLength(std::int64_t year, int month) {
    static constexpr int kLengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && PrvLeap(year) ? 29 : kLengths[month - 1];
}

std::int64_t PrvTransitionDay(const Transition& t, std::int64_t year) {
    const std::int64_t jan1 = DaysFromCivil(year, 1, 1);
    if (t.kind == 'J') {
        return jan1 + t.day - 1 + (PrvLeap(year) && t.day >= 60 ? 1 : 0);
    }
    if (t.kind == 'N') {
        return jan1 + t.day;
    }
    const std::int64_t first = DaysFromCivil(year, t.month, 1);
    const int firstWeekday =
        static_cast<int>(((first + 4) % 7 + 7) % 7); // 1970-01-01 was a Thursday
    int day = 1 + (t.weekday - firstWeekday + 7) % 7 + (t.week - 1) * 7;
    while (day > PrvMonthLength(year, t.month)) {
        day -= 7;
    }
    return first + day - 1;
}

} // namespace

std::int64_t TransitionLocal(const Transition& t, std::int64_t year) {
    return PrvTransitionDay(t, year) * 86400 + t.time;
}

namespace {

std::int64_t PrvYearOf(std::int64_t seconds) {
    std::int64_t year = 0;
    int month = 0;
    int day = 0;
    CivilFromDays(seconds / 86400 - (seconds % 86400 < 0 ? 1 : 0), year, month, day);
    return year;
}

bool PrvInside(std::int64_t at, std::int64_t begins, std::int64_t ends) {
    // Daylight time inside the year, or running over its turn (southern zones).
    return begins < ends ? (at >= begins && at < ends) : !(at >= ends && at < begins);
}

} // namespace

bool IsDaylight(const Zone& zone, std::int64_t utc) {
    if (!zone.hasDaylight) {
        return false;
    }
    const std::int64_t year = PrvYearOf(utc + zone.standardOffset);
    return PrvInside(utc, TransitionLocal(zone.start, year) - zone.standardOffset,
                     TransitionLocal(zone.end, year) - zone.daylightOffset);
}

bool IsDaylightLocal(const Zone& zone, std::int64_t local) {
    if (!zone.hasDaylight) {
        return false;
    }
    const std::int64_t year = PrvYearOf(local);
    return PrvInside(local, TransitionLocal(zone.start, year), TransitionLocal(zone.end, year));
}

// ---- POSIX rules ---------------------------------------------------------------------------

namespace {

/// Reads through a rule text; every reader returns false and leaves the cursor anywhere on a
/// malformed piece, which fails the whole rule.
struct Cursor {
    const std::string& text; // the rule
    std::size_t at = 0;      // next character

    [[nodiscard]] bool done() const { return at >= text.size(); }
    [[nodiscard]] char peek() const { return done() ? '\0' : text[at]; }
    bool take(char c) {
        if (peek() != c) {
            return false;
        }
        ++at;
        return true;
    }
    bool number(int& value, int maxDigits) {
        const std::size_t from = at;
        value = 0;
        while (!done() && std::isdigit(static_cast<unsigned char>(peek())) &&
               at - from < std::size_t(maxDigits)) {
            value = value * 10 + (text[at++] - '0');
        }
        return at > from;
    }
    bool name(std::string& out) {
        if (take('<')) {
            const std::size_t close = text.find('>', at);
            if (close == std::string::npos) {
                return false;
            }
            out = text.substr(at, close - at);
            at = close + 1;
            return out.size() >= 3;
        }
        const std::size_t from = at;
        while (!done() && std::isalpha(static_cast<unsigned char>(peek()))) {
            ++at;
        }
        out = text.substr(from, at - from);
        return out.size() >= 3;
    }
    /// [+-]hh[:mm[:ss]] in seconds.
    bool clock(std::int32_t& seconds) {
        const bool negative = take('-');
        if (!negative) {
            take('+');
        }
        int h = 0;
        int m = 0;
        int s = 0;
        if (!number(h, 3) || (take(':') && (!number(m, 2) || (take(':') && !number(s, 2))))) {
            return false;
        }
        seconds = (h * 3600 + m * 60 + s) * (negative ? -1 : 1);
        return true;
    }
    bool transition(Transition& t) {
        if (take('M')) {
            t.kind = 'M';
            if (!number(t.month, 2) || !take('.') || !number(t.week, 1) || !take('.') ||
                !number(t.weekday, 1)) {
                return false;
            }
            if (t.month < 1 || t.month > 12 || t.week < 1 || t.week > 5 || t.weekday > 6) {
                return false;
            }
        } else {
            t.kind = take('J') ? 'J' : 'N';
            if (!number(t.day, 3) || t.day > 365 || (t.kind == 'J' && t.day < 1)) {
                return false;
            }
        }
        t.time = 7200;
        return !take('/') || clock(t.time);
    }
};

} // namespace

std::shared_ptr<const Zone> ParseRule(const std::string& text) {
    auto zone = std::make_shared<Zone>();
    Cursor c{text};
    std::int32_t west = 0;
    if (!c.name(zone->standardName) || !c.clock(west)) {
        return nullptr;
    }
    zone->standardOffset = -west;
    if (c.done()) {
        return zone;
    }
    if (!c.name(zone->daylightName)) {
        return nullptr;
    }
    zone->daylightOffset = zone->standardOffset + 3600;
    if (c.peek() != ',' && !c.done()) {
        if (!c.clock(west)) {
            return nullptr;
        }
        zone->daylightOffset = -west;
    }
    zone->hasDaylight = true;
    if (c.done()) {
        // No dates: the rule the runtimes assume (second Sunday of March, first of November).
        zone->start = Transition{'M', 3, 2, 0, 0, 7200};
        zone->end = Transition{'M', 11, 1, 0, 0, 7200};
        return zone;
    }
    if (!c.take(',') || !c.transition(zone->start) || !c.take(',') || !c.transition(zone->end) ||
        !c.done()) {
        return nullptr;
    }
    if (zone->daylightOffset < zone->standardOffset) {
        // Winter is the rule's "daylight" time: the platform shows summer as daylight time.
        std::swap(zone->standardName, zone->daylightName);
        std::swap(zone->standardOffset, zone->daylightOffset);
        std::swap(zone->start, zone->end);
    }
    return zone;
}

// ---- tzdata files --------------------------------------------------------------------------

namespace {

/// The POSIX footer of a tzdata file (version 2 and later); empty when there is none.
std::string PrvFooter(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return {};
    }
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    if (bytes.compare(0, 4, "TZif") != 0 || bytes.size() < 2 || bytes.back() != '\n') {
        return {};
    }
    const std::size_t open = bytes.rfind('\n', bytes.size() - 2);
    return open == std::string::npos ? std::string()
                                     : bytes.substr(open + 1, bytes.size() - open - 2);
}

/// The tzdata name of a zone file ("Europe/Berlin" for /etc/localtime linked into zoneinfo).
std::string PrvIdOfPath(const std::string& path) {
    char resolved[PATH_MAX];
    if (realpath(path.c_str(), resolved) == nullptr) {
        return {};
    }
    const std::string full(resolved);
    const std::size_t at = full.find("/zoneinfo/");
    return at == std::string::npos ? std::string() : full.substr(at + 10);
}

std::shared_ptr<const Zone> PrvFromFile(const std::string& path, const std::string& id) {
    auto parsed = ParseRule(PrvFooter(path));
    if (!parsed) {
        return nullptr;
    }
    auto zone = std::make_shared<Zone>(*parsed);
    zone->id = id;
    return zone;
}

std::shared_ptr<const Zone> PrvUtc() {
    auto zone = std::make_shared<Zone>();
    zone->id = "UTC";
    zone->standardName = "UTC";
    return zone;
}

std::shared_ptr<const Zone> PrvLoad(const char* tz) {
    if (tz == nullptr) {
        auto zone = PrvFromFile("/etc/localtime", PrvIdOfPath("/etc/localtime"));
        return zone ? zone : PrvUtc();
    }
    std::string name(tz);
    if (!name.empty() && name[0] == ':') {
        name.erase(0, 1);
    }
    if (name.empty()) {
        return PrvUtc();
    }
    if (name[0] == '/') {
        auto zone = PrvFromFile(name, PrvIdOfPath(name));
        return zone ? zone : PrvUtc();
    }
    if (name.find("..") == std::string::npos) {
        if (auto zone = PrvFromFile("/usr/share/zoneinfo/" + name, name)) {
            return zone;
        }
    }
    auto zone = ParseRule(name);
    return zone ? zone : PrvUtc();
}

/// The zone of the last call and the TZ it was read for.
struct ZoneCache {
    std::mutex lock;                  // guards the members below
    bool loaded = false;              // a zone has been read
    bool tzSet = false;               // TZ was set when it was read
    std::string tz;                   // TZ's value then
    std::shared_ptr<const Zone> zone; // the zone read
    std::uint64_t loads = 0;          // zones read so far
};

} // namespace

std::shared_ptr<const Zone> CurrentZone() {
    static ZoneCache& cache = *new ZoneCache; // immortal: may serve calls during exit
    const char* tz = std::getenv("TZ");
    std::lock_guard<std::mutex> guard(cache.lock);
    const bool same =
        cache.loaded && cache.tzSet == (tz != nullptr) && (tz == nullptr || cache.tz == tz);
    if (!same) {
        auto zone = std::make_shared<Zone>(*PrvLoad(tz));
        zone->serial = ++cache.loads;
        cache.zone = std::move(zone);
        cache.loaded = true;
        cache.tzSet = tz != nullptr;
        cache.tz = tz != nullptr ? tz : "";
    }
    return cache.zone;
}

} // namespace bvplatform::time
