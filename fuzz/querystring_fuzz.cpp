// Query strings and GUID texts from outside (URLs, settings): any units parse without a fault, a
// parsed pair is found again by its name, and a GUID that was read prints back to a text that
// reads to the same GUID.
#include "Core/Common/QueryStringParser.h"
#include "Core/Common/StlGuid.h"

#include "FuzzSupport.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

using bvfuzz::Check;
using bvfuzz::UnitsOf;

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
