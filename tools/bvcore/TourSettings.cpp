// The settings section of the bvcore tour: a value stored for all users, read through the
// current user's path.
#include "TourSections.h"

#include "Core/Common/RegistryKey.h"
#include "Core/Common/Settings.h"
#include "Core/Common/StrConv.h"

#include <cstdio>
#include <string>

namespace bvtool {

namespace {

using core::registry::RegistryKey;

void Line(const std::string& label, const TStr& text) {
    std::printf("  %-34s %s\n", label.c_str(), mfConvertTToUTF8(text).c_str());
}

void ShowFallBack() {
    RegistryKey(RegistryKey::eSubTreeUsers, u".DEFAULT\\Software\\Brontavale Tour\\Player",
                KEY_ALL_ACCESS, true)
        .SetValueString(u"Skin", u"Midnight");
    Line("stored for all users", u"HKEY_USERS\\.DEFAULT\\Software\\Brontavale Tour\\Player\\Skin");
    const core::settings::Setting skin(u"\\USERS\\CURRENT\\Brontavale Tour\\Player\\Skin");
    Line("Path", skin.Path());
    Line("PhysicalPath", skin.PhysicalPath());
    Line("IsVirtual", skin.IsVirtual() ? u"true" : u"false");
    Line("ValueTStr", skin.ValueTStr());
}

} // namespace

void TourSettings() {
    std::printf("\n== Settings paths and fall-back\n");
    try {
        ShowFallBack();
        RegistryKey(RegistryKey::eSubTreeUsers, u".DEFAULT\\Software", KEY_ALL_ACCESS, false)
            .DeleteSubKeyTree(u"Brontavale Tour");
        Line("removed", u"HKEY_USERS\\.DEFAULT\\Software\\Brontavale Tour");
    } catch (const mcExc& e) {
        Line("failed", e.whatT());
    }
    TourSettingValues();
}

} // namespace bvtool
