// Unicode facts for the converters. Normalisation data comes from ICU (its normaliser
// instances are immutable and shared by all threads); the look-alikes and glyphs are the
// platform's own choices.
#include "text/unicode.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>

#include <algorithm>
#include <iterator>

namespace bvplatform::text {
namespace {

using Getter = const UNormalizer2* (*)(UErrorCode*);

const UNormalizer2* Instance(Getter get) {
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* instance = get(&status);
    return U_SUCCESS(status) ? instance : nullptr;
}

const UNormalizer2* Nfd() {
    static const UNormalizer2* const instance = Instance(unorm2_getNFDInstance);
    return instance;
}

const UNormalizer2* Nfkd() {
    static const UNormalizer2* const instance = Instance(unorm2_getNFKDInstance);
    return instance;
}

const UNormalizer2* Nfc() {
    static const UNormalizer2* const instance = Instance(unorm2_getNFCInstance);
    return instance;
}

constexpr bool IsHangulSyllable(char16_t unit) {
    return unit >= 0xAC00 && unit <= 0xD7A3;
}

// Look-alikes that no decomposition gives: letters with a stroke or a ligature, and typographic
// punctuation. Sorted by unit.
struct LookAlike {
    char16_t unit;      // the unit the code page lacks
    char16_t lookAlike; // what stands in for it
};
constexpr LookAlike kLookAlikes[] = {
    {0x00AB, u'<'},  {0x00AD, u'-'}, {0x00BB, u'>'},  {0x00C6, u'A'},  {0x00D0, u'D'},
    {0x00D8, u'O'},  {0x00E6, u'a'}, {0x00F0, u'd'},  {0x00F8, u'o'},  {0x0110, u'D'},
    {0x0111, u'd'},  {0x0126, u'H'}, {0x0127, u'h'},  {0x0131, u'i'},  {0x0141, u'L'},
    {0x0142, u'l'},  {0x0152, u'O'}, {0x0153, u'o'},  {0x0166, u'T'},  {0x0167, u't'},
    {0x0180, u'b'},  {0x0192, u'f'}, {0x0197, u'I'},  {0x01B5, u'Z'},  {0x01B6, u'z'},
    {0x02B9, u'\''}, {0x02BA, u'"'}, {0x02BC, u'\''}, {0x02C6, u'^'},  {0x02C8, u'\''},
    {0x02DC, u'~'},  {0x2010, u'-'}, {0x2011, u'-'},  {0x2012, u'-'},  {0x2013, u'-'},
    {0x2014, u'-'},  {0x2015, u'-'}, {0x2018, u'\''}, {0x2019, u'\''}, {0x201A, u','},
    {0x201B, u'\''}, {0x201C, u'"'}, {0x201D, u'"'},  {0x201E, u'"'},  {0x201F, u'"'},
    {0x2032, u'\''}, {0x2033, u'"'}, {0x2039, u'<'},  {0x203A, u'>'},  {0x2212, u'-'},
};
static_assert(std::is_sorted(std::begin(kLookAlikes), std::end(kLookAlikes),
                             [](const LookAlike& a, const LookAlike& b) {
                                 return a.unit < b.unit;
                             }));

char16_t LookAlikeOf(char16_t unit) {
    const auto* it = std::lower_bound(std::begin(kLookAlikes), std::end(kLookAlikes), unit,
                                      [](const LookAlike& e, char16_t u) { return e.unit < u; });
    return it != std::end(kLookAlikes) && it->unit == unit ? it->lookAlike : 0;
}

// The letter under the accents, when the canonical decomposition is one letter plus marks.
char16_t BaseLetterOf(char16_t unit) {
    char16_t parts[kMaxDecomposition];
    const std::size_t length = Decompose(unit, false, parts);
    if (length < 2 || !u_isalpha(parts[0])) {
        return 0;
    }
    const bool onlyMarks = std::all_of(parts + 1, parts + length, IsNonspacing);
    return onlyMarks ? parts[0] : 0;
}

// The single unit a compatibility decomposition gives (fullwidth forms, spaces, ...).
char16_t CompatibilityFormOf(char16_t unit) {
    char16_t parts[kMaxDecomposition];
    return Decompose(unit, true, parts) == 1 ? parts[0] : 0;
}

// Glyphs of the control bytes 01..1F in the OEM code pages, as printed by the PC's text mode.
constexpr char16_t kControlGlyphs[32] = {
    0x0000, 0x263A, 0x263B, 0x2665, 0x2666, 0x2663, 0x2660, 0x2022, 0x25D8, 0x25CB, 0x25D9,
    0x2642, 0x2640, 0x266A, 0x266B, 0x263C, 0x25BA, 0x25C4, 0x2195, 0x203C, 0x00B6, 0x00A7,
    0x25AC, 0x21A8, 0x2191, 0x2193, 0x2192, 0x2190, 0x221F, 0x2194, 0x25B2, 0x25BC,
};
constexpr char16_t kDeleteGlyph = 0x2302;

} // namespace

std::size_t Decompose(char16_t unit, bool compatibility, char16_t (&out)[kMaxDecomposition]) {
    const UNormalizer2* normalizer = compatibility ? Nfkd() : Nfd();
    if (normalizer == nullptr || IsHangulSyllable(unit)) {
        return 0;
    }
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length =
        unorm2_getDecomposition(normalizer, unit, out, kMaxDecomposition, &status);
    return U_SUCCESS(status) && length > 0 ? static_cast<std::size_t>(length) : 0;
}

bool IsNonspacing(char16_t unit) {
    return u_getCombiningClass(unit) != 0;
}

char16_t ComposePair(char16_t base, char16_t mark) {
    const UNormalizer2* normalizer = Nfc();
    if (normalizer == nullptr) {
        return 0;
    }
    const UChar32 composed = unorm2_composePair(normalizer, base, mark);
    return composed > 0 && composed <= 0xFFFF ? static_cast<char16_t>(composed) : 0;
}

std::size_t BestFitCandidates(char16_t unit, bool latin1Only, char16_t (&out)[kMaxCandidates]) {
    if (unit < 0x80 || (latin1Only && unit > 0xFF)) {
        return 0;
    }
    std::size_t count = 0;
    for (const char16_t candidate :
         {LookAlikeOf(unit), BaseLetterOf(unit), CompatibilityFormOf(unit)}) {
        if (candidate != 0) {
            out[count++] = candidate;
        }
    }
    return count;
}

char16_t OemGlyph(unsigned char byte) {
    if (byte == 0x7F) {
        return kDeleteGlyph;
    }
    return byte < std::size(kControlGlyphs) ? kControlGlyphs[byte] : 0;
}

} // namespace bvplatform::text
