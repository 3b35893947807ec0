// Uses the installed library from another module: converts text, and catches an exception that
// the library threw (its type information must be one across the two modules).
#include <Core/Common/Exc.h>
#include <Core/Common/StrConv.h>

#include <cstdio>

int main() {
    if (mfConvertUTF8ToT("Gr\xC3\xBC\xC3\x9F"
                         "e") != u"Gr\u00fc\u00dfe") {
        std::puts("conversion gave the wrong text");
        return 1;
    }
    try {
        (void)mfConvertMBCSToT(AStr("abc"), 12345);
    } catch (const mcExc& e) {
        std::printf("caught: %s\n", e.what());
        return e.HResult() == static_cast<LONG>(0x80070057) ? 0 : 1;
    }
    std::puts("no exception");
    return 1;
}
