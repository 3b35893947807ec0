// Name and value pairs of a URL's query, taken apart once at construction. Nothing is decoded:
// a caller that wants percent coding undone passes a value through mfStrUrlUnencode.
#pragma once

#include "Core/Common/Export.h"
#include "Core/Common/Types.h"

#include <map>

class BVCORE_API mcQueryStringParser {
public:
    /// Name to value, ordered by the units of the name; names are case sensitive.
    using mtPairs = std::map<TStr, TStr>;

    /// Parses what stands behind the first "?" of `url`, or all of it if it has none. Pairs are
    /// separated by "&"; a pair without "=" is dropped, and a repeated name keeps its first
    /// value.
    explicit mcQueryStringParser(const TStr& url);
    ~mcQueryStringParser();

    /// On a hit assigns the value to `*value` and returns true; otherwise returns false and
    /// leaves `*value` alone. A null `value` asks only whether the name is there.
    bool GetValue(const TStr& name, TStr* value) const;
    /// The pairs, for iteration or change.
    mtPairs& Map();
    /// Each pair in map order as name + "=" + value + line feed.
    [[nodiscard]] TStr Dump() const;

private:
    void ProcessPair(const TStr& pair);

    mtPairs m_pairs; // the pairs kept so far
};
