// Stored setting text is outside input: any units split into clean tokens, base64 decoding never
// writes beyond its target and counts the same bytes whatever the target's size, and the four
// readers give a value or a plain mcExc. Any other exception escapes and fails the run.
#include "Core/Common/Exc.h"
#include "Core/Common/XMLUtil.h"

#include "FuzzSupport.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <typeinfo>

namespace {

using namespace core::xml;

using bvfuzz::Check;
using bvfuzz::UnitsOf;

void CheckSplit(const TStr& text) {
    TStrVec tokens = {u"stale"};
    const std::int32_t count = SplitElementText(text, kElementDelimiters, tokens);
    Check(count >= 0 && static_cast<std::size_t>(count) == tokens.size());
    for (const TStr& token : tokens) {
        Check(!token.empty() && token.find_first_of(kElementDelimiters) == TStr::npos);
    }
}

void CheckBase64(const TStr& text) {
    constexpr BYTE kGuard = 0xA5;
    std::array<BYTE, 24> small;
    small.fill(kGuard);
    const std::size_t count = Base64Decode(text, std::span(small).first(16));
    for (std::size_t i = 16; i < small.size(); ++i) {
        Check(small[i] == kGuard);
    }
    ByteVec all(text.size(), kGuard); // four units give three bytes: room for any text
    Check(Base64Decode(text, all) == count && count <= text.size());
    all.resize(count);
    const std::size_t written = std::min<std::size_t>(count, 16);
    Check(std::equal(all.begin(), all.begin() + written, small.begin()));
    ByteVec again(count + 1, kGuard);
    Check(Base64Decode(Base64Encode(all, kui32Base64LineWidth), again) == count);
    Check(std::equal(all.begin(), all.end(), again.begin()));
}

template <class F>
void ReadOrPlainExc(F read) {
    try {
        read();
    } catch (const mcExc& e) {
        // The readers' one way of saying no; every other exception escapes.
        Check(typeid(e) == typeid(mcExc));
        const TStr words = e.whatT();
        Check(words == u"Invalid or corrupted setting value." ||
              words.starts_with(u"Type mismatch for variant (encountered type )"));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TStr text = UnitsOf(data, size);
    CheckSplit(text);
    CheckBase64(text);
    ReadOrPlainExc([&] { (void)FromXMLElementBOOL(text); });
    ReadOrPlainExc([&] { (void)FromXMLElement(text); });
    ReadOrPlainExc([&] { (void)FromXMLElementPOINT(text); });
    ReadOrPlainExc([&] { (void)FromXMLElementRECT(text); });
    return 0;
}
