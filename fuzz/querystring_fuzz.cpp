// Query strings and GUID texts from outside (URLs, settings): any units parse without a fault, a
// parsed pair is found again by its name, and a GUID that was read prints back to a text that
// reads to the same GUID.
#include "Core/Common/QueryStringParser.h"
#include "Core/Common/StlGuid.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

void Check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

TStr UnitsOf(const std::uint8_t* data, std::size_t size) {
    TStr text(size / 2, u'\0');
    std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const TStr text = UnitsOf(data, size);

    mcQueryStringParser parser(text);
    for (const auto& [name, value] : parser.Map()) {
        TStr found;
        Check(parser.GetValue(name, &found) && found == value);
    }
    (void)parser.Dump();

    _GUID guid{};
    if (mfStrConvertStrToGuid(text, guid)) {
        _GUID again{};
        Check(mfStrConvertStrToGuid(mfStrConvertGuidToStr(guid, false), again));
        Check(std::memcmp(&guid, &again, sizeof guid) == 0);
    }
    return 0;
}
