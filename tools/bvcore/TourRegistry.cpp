// The registry section of the bvcore tour.
#include "TourSections.h"

#include "Core/Common/RegistryKey.h"
#include "Core/Common/SettingsRegImpl.h"
#include "Core/Common/StrConv.h"

#include <cstdio>
#include <string>

namespace bvtool {

namespace {

using core::registry::RegistryKey;

void Line(const std::string& label, const TStr& text) {
    std::printf("  %-34s %s\n", label.c_str(), mfConvertTToUTF8(text).c_str());
}

TStr Number(long long value) {
    const std::string digits = std::to_string(value);
    return TStr(digits.begin(), digits.end());
}

TStr Joined(const TStrVec& strings) {
    TStr out;
    for (std::size_t i = 0; i < strings.size(); ++i) {
        out += (i == 0 ? u"" : u" | ") + strings[i];
    }
    return out;
}

void ShowValues(RegistryKey& key) {
    key.SetValueDWord(u"Volume", -12);
    key.SetValueQWord(u"PlayedSeconds", 9876543210LL);
    key.SetValueString(u"Library", u"C:\\Music");
    key.SetValueEnvironmentString(u"Cache", u"%TEMP%\\Brontavale");
    key.SetValueBinary(u"Flags", ByteVec{0, 0, 1});
    key.SetValueMultiString(u"Recent", TStrVec{u"a.mp3", u"", u"b.flac"});
    Line("GetValueDWord(Volume)", Number(key.GetValueDWord(u"Volume")));
    Line("GetValueQWord(PlayedSeconds)", Number(key.GetValueQWord(u"PlayedSeconds")));
    Line("GetValueString(Library)", key.GetValueString(u"Library"));
    Line("GetValueString(Cache), unexpanded", key.GetValueString(u"Cache"));
    Line("GetValueBinary(Flags), bytes", Number(key.GetValueBinary(u"Flags").size()));
    Line("GetValueBinaryAsBool(Flags)", key.GetValueBinaryAsBool(u"Flags") ? u"true" : u"false");
    Line("GetValueMultiString(Recent)", Joined(key.GetValueMultiString(u"Recent")));
    TStrVec names;
    key.GetValueNames(names);
    Line("GetValueNames", Joined(names));
}

void ShowMismatch(const RegistryKey& key) {
    try {
        (void)key.GetValueDWord(u"Library");
    } catch (const RegistryKey::ValueTypeException& e) {
        Line("GetValueDWord(Library) threw", e.whatT());
    }
    try {
        (void)key.GetValueString(u"Missing");
    } catch (const RegistryKey::ValueException& e) {
        Line("GetValueString(Missing) threw", e.whatT());
    }
}

void ShowDirectRoute() {
    const TStr path = u"\\users\\current\\Brontavale Tour\\Direct\\Count";
    core::settings::SetValueInt32(path, 3);
    Line("ValueInt32 after SetValueInt32(3)", Number(core::settings::ValueInt32(path)));
    Line("ValueTStr with default, no create",
         core::settings::ValueTStr(u"\\USERS\\CURRENT\\Brontavale Tour\\Direct\\Name", u"(default)",
                                   false));
}

} // namespace

void TourRegistry() {
    std::printf("\n== Registry keys and values\n");
    try {
        RegistryKey key(RegistryKey::eSubTreeCurrentUser, u"Software\\Brontavale Tour\\Keys",
                        KEY_ALL_ACCESS, true);
        Line("created", u"HKEY_CURRENT_USER\\" + key.GetName());
        ShowValues(key);
        ShowMismatch(key);
        ShowDirectRoute();
        RegistryKey(RegistryKey::eSubTreeCurrentUser, u"Software", KEY_ALL_ACCESS, false)
            .DeleteSubKeyTree(u"Brontavale Tour");
        Line("removed", u"HKEY_CURRENT_USER\\Software\\Brontavale Tour");
    } catch (const mcExc& e) {
        Line("failed", e.whatT());
    }
}

} // namespace bvtool
