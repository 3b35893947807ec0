// CompareStringW on ICU collators, with the platform's word sort: hyphens and apostrophes weigh
// only after every other difference. Map: locale ids to ICU names; the collator cache; the
// word sort's tie-break; the export.
#include <bvplatform/base.h>
#include <bvplatform/locale.h>
#include <bvplatform/winerror.h>

#include <unicode/ucol.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr DWORD kKnownFlags = NORM_IGNORECASE | NORM_IGNORENONSPACE | NORM_IGNORESYMBOLS |
                              SORT_DIGITSASNUMBERS | LINGUISTIC_IGNORECASE |
                              LINGUISTIC_IGNOREDIACRITIC | SORT_STRINGSORT | NORM_IGNOREKANATYPE |
                              NORM_IGNOREWIDTH | NORM_LINGUISTIC_CASING;

// The platform counts "ß" as "ss" at every level; ICU's root order keeps a third-level
// difference between them.
constexpr char16_t kTailoring[] = u"&ss=\u00DF";

// The word sort: hyphen and apostrophe weigh nothing in the collator; their positions break
// ties afterwards (LateWeightOrder).
constexpr char16_t kWordSortTailoring[] = u"&[last tertiary ignorable]=\\-=\\'";
constexpr char16_t kLateWeighted[] = u"-'";

int Fail(DWORD error) {
    SetLastError(error);
    return 0;
}

// ---- Locale ids ----------------------------------------------------------------------------

// The user's collation locale as ICU names it, from the environment as a POSIX program reads it.
std::string UserLocaleFromEnvironment() {
    const char* value = nullptr;
    for (const char* name : {"LC_ALL", "LC_COLLATE", "LANG"}) {
        value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            break;
        }
    }
    std::string locale = value != nullptr ? value : "";
    locale = locale.substr(0, locale.find_first_of(".@"));
    if (locale.empty() || locale == "C" || locale == "POSIX") {
        return "en_US";
    }
    return locale;
}

const std::string& UserLocale() {
    static const std::string& locale = *new std::string(UserLocaleFromEnvironment());
    return locale;
}

// The ICU locale of a locale id; nothing for an id the platform doesn't know.
std::optional<std::string> LocaleOf(LCID locale) {
    switch (locale) {
    case LOCALE_NEUTRAL:
    case LOCALE_USER_DEFAULT:
    case LOCALE_SYSTEM_DEFAULT:
        return UserLocale();
    case LOCALE_INVARIANT:
        return std::string("en_US");
    default:
        break;
    }
    char name[ULOC_FULLNAME_CAPACITY] = {};
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = uloc_getLocaleForLCID(locale, name, sizeof name, &status);
    if (U_FAILURE(status) || length <= 0) {
        return std::nullopt;
    }
    return std::string(name, static_cast<std::size_t>(length));
}

// ---- Collators -----------------------------------------------------------------------------

// The collator settings that the flags select.
struct Settings {
    UCollationStrength strength = UCOL_TERTIARY; // level up to which differences count
    bool caseLevel = false;                      // case counts although accents don't
    bool shifted = false;                        // symbols and punctuation ignored
    bool numeric = false;                        // digit runs compared as numbers
    bool wordSort = false; // hyphen and apostrophe weigh only after everything else

    [[nodiscard]] int Key() const {
        return static_cast<int>(strength) << 4 | caseLevel << 3 | shifted << 2 | numeric << 1 |
               static_cast<int>(wordSort);
    }
};

Settings SettingsOf(DWORD flags) {
    Settings settings;
    const bool ignoreCase = (flags & (NORM_IGNORECASE | LINGUISTIC_IGNORECASE)) != 0;
    const bool ignoreAccents = (flags & (NORM_IGNORENONSPACE | LINGUISTIC_IGNOREDIACRITIC)) != 0;
    if (ignoreAccents) {
        settings.strength = UCOL_PRIMARY;
        settings.caseLevel = !ignoreCase;
    } else if (ignoreCase) {
        settings.strength = UCOL_SECONDARY;
    }
    settings.shifted = (flags & NORM_IGNORESYMBOLS) != 0;
    settings.numeric = (flags & SORT_DIGITSASNUMBERS) != 0;
    // Ignoring symbols ignores hyphens and apostrophes too: nothing is left for a word sort.
    settings.wordSort = (flags & SORT_STRINGSORT) == 0 && !settings.shifted;
    return settings;
}

// Opens the locale's collator with the platform's tailoring added and the settings applied.
UCollator* OpenCollator(const std::string& locale, const Settings& settings) {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* base = ucol_open(locale.c_str(), &status);
    if (U_FAILURE(status)) {
        return nullptr;
    }
    int32_t baseLength = 0;
    const UChar* baseRules = ucol_getRules(base, &baseLength);
    std::u16string rules(baseRules, static_cast<std::size_t>(baseLength));
    ucol_close(base);
    rules += kTailoring;
    if (settings.wordSort) {
        rules += kWordSortTailoring;
    }
    UCollator* collator = ucol_openRules(rules.data(), static_cast<int32_t>(rules.size()), UCOL_ON,
                                         settings.strength, nullptr, &status);
    if (U_FAILURE(status)) {
        return nullptr;
    }
    ucol_setAttribute(collator, UCOL_CASE_FIRST, UCOL_LOWER_FIRST, &status);
    ucol_setAttribute(collator, UCOL_CASE_LEVEL, settings.caseLevel ? UCOL_ON : UCOL_OFF, &status);
    ucol_setAttribute(collator, UCOL_ALTERNATE_HANDLING,
                      settings.shifted ? UCOL_SHIFTED : UCOL_NON_IGNORABLE, &status);
    ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, settings.numeric ? UCOL_ON : UCOL_OFF,
                      &status);
    if (U_FAILURE(status)) {
        ucol_close(collator);
        return nullptr;
    }
    return collator;
}

// Every collator opened so far, by locale and settings. Collators are never changed after
// opening (ICU's compare is then safe from any thread) and never closed.
struct CollatorCache {
    std::mutex lock; // guards collators
    // ICU locale name and Settings::Key to the open collator (null where ICU failed)
    std::map<std::pair<std::string, int>, UCollator*> collators;
};

// The collator for a locale id and flags, or the error to fail with. Each thread remembers its
// last answer, so that repeated calls with the same locale and flags take no lock.
std::pair<const UCollator*, DWORD> CollatorFor(LCID locale, const Settings& settings) {
    struct LastHit {
        LCID locale = 0;               // locale id of the last call
        int settings = -1;             // Settings::Key of the last call
        UCollator* collator = nullptr; // its collator
    };
    thread_local LastHit last;
    if (last.collator != nullptr && last.locale == locale && last.settings == settings.Key()) {
        return {last.collator, ERROR_SUCCESS};
    }
    const std::optional<std::string> name = LocaleOf(locale);
    if (!name) {
        return {nullptr, ERROR_INVALID_PARAMETER};
    }
    static CollatorCache& cache = *new CollatorCache;
    std::lock_guard<std::mutex> guard(cache.lock);
    UCollator*& collator = cache.collators[{*name, settings.Key()}];
    if (collator == nullptr) {
        collator = OpenCollator(*name, settings);
    }
    if (collator == nullptr) {
        return {nullptr, ERROR_INVALID_PARAMETER};
    }
    last = {locale, settings.Key(), collator};
    return {collator, ERROR_SUCCESS};
}

// ---- Word sort -----------------------------------------------------------------------------

int ToCompareResult(UCollationResult result) {
    return result == UCOL_LESS ? CSTR_LESS_THAN
                               : (result == UCOL_EQUAL ? CSTR_EQUAL : CSTR_GREATER_THAN);
}

std::u16string_view ViewOf(LPCWSTR text, int count) {
    return count < 0 ? std::u16string_view(text)
                     : std::u16string_view(text, static_cast<std::size_t>(count));
}

// The tie-break of texts equal but for their hyphens and apostrophes: the text whose first such
// unit stands earlier sorts first (at the same place, "'" before "-"), and a text with fewer of
// them sorts before one with more.
int LateWeightOrder(std::u16string_view a, std::u16string_view b) {
    for (std::size_t i = 0, j = 0;; ++i, ++j) {
        i = a.find_first_of(kLateWeighted, i);
        j = b.find_first_of(kLateWeighted, j);
        if (i == std::u16string_view::npos || j == std::u16string_view::npos) {
            return i == j ? CSTR_EQUAL
                          : (i == std::u16string_view::npos ? CSTR_LESS_THAN : CSTR_GREATER_THAN);
        }
        if (i != j || a[i] != b[j]) {
            return (i != j ? i < j : a[i] < b[j]) ? CSTR_LESS_THAN : CSTR_GREATER_THAN;
        }
    }
}

} // namespace

int CompareStringW(LCID Locale, DWORD dwCmpFlags, LPCWSTR lpString1, int cchCount1,
                   LPCWSTR lpString2, int cchCount2) {
    if (lpString1 == nullptr || lpString2 == nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    if ((dwCmpFlags & ~kKnownFlags) != 0) {
        return Fail(ERROR_INVALID_FLAGS);
    }
    const Settings settings = SettingsOf(dwCmpFlags);
    const auto [collator, error] = CollatorFor(Locale, settings);
    if (collator == nullptr) {
        return Fail(error);
    }
    // ICU takes -1 for a terminated text and no other negative length.
    const UCollationResult result = ucol_strcoll(collator, lpString1, std::max(cchCount1, -1),
                                                 lpString2, std::max(cchCount2, -1));
    if (result != UCOL_EQUAL || !settings.wordSort) {
        return ToCompareResult(result);
    }
    return LateWeightOrder(ViewOf(lpString1, cchCount1), ViewOf(lpString2, cchCount2));
}
