// Unicode facts the converters need beyond the code page tables: decompositions and
// compositions (ICU's normalisation data), the platform's look-alike replacements ("best fit")
// and the glyph forms of control bytes in the OEM code pages.
#pragma once

#include <cstddef>

namespace bvplatform::text {

/// Longest decomposition the converters use; longer ones are treated as none.
constexpr std::size_t kMaxDecomposition = 8;

/// The full canonical (or, with `compatibility`, compatibility) decomposition of `unit` into
/// `out`; returns its length, 0 when the unit has none. Hangul syllables stay whole.
[[nodiscard]] std::size_t Decompose(char16_t unit, bool compatibility,
                                    char16_t (&out)[kMaxDecomposition]);

/// Whether `unit` is a nonspacing mark (a nonzero combining class).
[[nodiscard]] bool IsNonspacing(char16_t unit);

/// The precomposed form of `base` followed by `mark`, or 0 when there is none in the BMP.
[[nodiscard]] char16_t ComposePair(char16_t base, char16_t mark);

/// Most look-alikes BestFitCandidates proposes.
constexpr std::size_t kMaxCandidates = 4;

/// Units that may stand in for `unit` in a code page that lacks it, best first; returns how
/// many. With `latin1Only`, only units up to U+00FF get any (the double-byte code pages' best
/// fit covers no more).
[[nodiscard]] std::size_t BestFitCandidates(char16_t unit, bool latin1Only,
                                            char16_t (&out)[kMaxCandidates]);

/// The glyph of an OEM control byte (01..1F, 7F) under MB_USEGLYPHCHARS; 0 for other bytes.
[[nodiscard]] char16_t OemGlyph(unsigned char byte);

} // namespace bvplatform::text
