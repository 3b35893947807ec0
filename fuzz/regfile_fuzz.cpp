// The .reg reader on arbitrary bytes: it never crashes, and whatever it accepts, written back
// out in the Unicode dialect, reads again as the same keys and values.
#include "RegFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void Check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool SameValues(const bvtool::regfile::Key& a, const bvtool::regfile::Key& b) {
    if (a.path != b.path || a.values.size() != b.values.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.values.size(); ++i) {
        const auto& x = a.values[i];
        const auto& y = b.values[i];
        if (x.name != y.name || x.type != y.type || x.data != y.data) {
            return false;
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace bvtool::regfile;
    Document doc;
    ParseError error;
    if (!Parse(std::span(data, size), doc, error)) {
        Check(error.line >= 1 && !error.message.empty());
        return 0;
    }
    // The writer carries settings only: drop deletions before the round trip.
    Document sets;
    for (Key& key : doc.keys) {
        if (key.remove) {
            continue;
        }
        std::erase_if(key.values, [](const Value& v) { return v.remove; });
        sets.keys.push_back(std::move(key));
    }
    const Bytes written = Write(sets);
    Document again;
    Check(Parse(written, again, error));
    Check(again.keys.size() == sets.keys.size());
    for (std::size_t i = 0; i < sets.keys.size(); ++i) {
        Check(SameValues(sets.keys[i], again.keys[i]));
    }
    return 0;
}
