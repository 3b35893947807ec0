// The settings sections of the bvcore tour that show values: the stored forms of bool, double,
// POINT and RECT read back typed, a damaged value, and a write through the current user's path.
#include "TourSections.h"

#include "Core/Common/RegistryKey.h"
#include "Core/Common/Settings.h"
#include "Core/Common/StrConv.h"
#include "Core/Common/XMLUtil.h"

#include <cstdio>
#include <string>

namespace bvtool {

namespace {

using core::registry::RegistryKey;
using core::settings::Setting;

const TStr kOwnRoot = u"\\USERS\\CURRENT\\Brontavale Tour\\Values";
const TStr kSharedRoot = u"\\USERS\\ALL\\Brontavale Tour\\Values";

void Line(const std::string& label, const TStr& text) {
    std::printf("  %-34s %s\n", label.c_str(), mfConvertTToUTF8(text).c_str());
}

RegistryKey UserKey() {
    return RegistryKey(RegistryKey::eSubTreeCurrentUser, u"Software\\Brontavale Tour\\Values",
                       KEY_ALL_ACCESS, true);
}
RegistryKey AllUsersKey() {
    return RegistryKey(RegistryKey::eSubTreeUsers, u".DEFAULT\\Software\\Brontavale Tour\\Values",
                       KEY_ALL_ACCESS, true);
}

const char16_t* TypeName(core::settings::eValueType type) {
    static const char16_t* const names[] = {
        u"eValueTypeNone",  u"eValueTypeBool", u"eValueTypeByteVec", u"eValueTypeInt32",
        u"eValueTypeInt64", u"eValueTypeTStr", u"eValueTypeTStrVec", u"eValueTypeDouble",
        u"eValueTypePOINT", u"eValueTypeRECT", u"eValueTypeUnknown"};
    return names[type];
}

TStr Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return mfConvertUTF8ToT(text);
}
TStr Number(long value) {
    return Number(static_cast<double>(value));
}

/// Reads a setting back by what ValueType says it is.
TStr TypedText(const Setting& s) {
    switch (s.ValueType()) {
    case core::settings::eValueTypeBool:
        return s.ValueBool() ? u"true" : u"false";
    case core::settings::eValueTypeDouble:
        return Number(s.ValueDouble());
    case core::settings::eValueTypePOINT: {
        const tagPOINT p = s.ValuePOINT();
        return u"x=" + Number(long{p.x}) + u" y=" + Number(long{p.y});
    }
    case core::settings::eValueTypeRECT: {
        const tagRECT r = s.ValueRECT();
        return Number(long{r.left}) + u"," + Number(long{r.top}) + u" - " + Number(long{r.right}) +
               u"," + Number(long{r.bottom});
    }
    default:
        return s.ValueTStr();
    }
}

void ShowStoredForms() {
    RegistryKey key = UserKey();
    key.SetValueString(u"Shuffle", core::xml::ToXMLElementBOOL(true).c_str());
    key.SetValueString(u"Volume", core::xml::ToXMLElementDouble(0.75).c_str());
    key.SetValueString(u"Position", core::xml::ToXMLElementPOINT(tagPOINT{120, -40}).c_str());
    key.SetValueString(u"Bounds", core::xml::ToXMLElementRECT(tagRECT{0, 0, 800, 600}).c_str());
    for (const TStr name : {u"Shuffle", u"Volume", u"Position", u"Bounds"}) {
        const Setting s(kOwnRoot + u"\\" + name);
        Line(mfConvertTToUTF8(name) + " as stored", key.GetValueString(name.c_str()));
        Line("  " + mfConvertTToUTF8(TypeName(s.ValueType())), TypedText(s));
    }
}

void ShowDamagedValue() {
    UserKey().SetValueString(u"Damaged", u"<double>AAAA</double>");
    const Setting damaged(kOwnRoot + u"\\Damaged");
    Line("Damaged as stored", damaged.ValueTStr());
    Line("ValueDouble(0.5) gives", Number(damaged.ValueDouble(0.5)));
    try {
        (void)damaged.ValueDouble();
    } catch (const mcExc& e) {
        Line("ValueDouble() throws", e.whatT());
    }
}

void ShowWriteThroughFallBack() {
    AllUsersKey().SetValueString(u"Skin", u"Midnight");
    Setting skin(kOwnRoot + u"\\Skin");
    Line("stored for all users", kSharedRoot + u"\\Skin = Midnight");
    Line("read through", skin.Path());
    Line("  resolves to", skin.PhysicalPath());
    Line("  ValueTStr", skin.ValueTStr());
    skin.Physicalize();
    Line("after Physicalize, resolves to", skin.PhysicalPath());
    Line("  own copy", UserKey().GetValueString(u"Skin"));
    skin.SetValueTStr(u"Daylight");
    Line("after SetValueTStr(Daylight)", u"");
    Line("  current user", UserKey().GetValueString(u"Skin"));
    Line("  all users (unchanged)", AllUsersKey().GetValueString(u"Skin"));
    std::printf("  A plain write on a setting that falls back does the copy and the write in "
                "one call.\n");
}

/// Runs a part of the tour; a failure shows its words and the tour goes on.
void Part(void (*part)()) {
    try {
        part();
    } catch (const mcExc& e) {
        Line("failed", e.whatT());
    }
}

} // namespace

void TourSettingValues() {
    std::printf("\n== Setting values: stored forms and typed reads\n");
    Part(ShowStoredForms);
    std::printf("  (the next read fails on purpose; the throw is announced on the debug output)\n");
    Part(ShowDamagedValue);
    std::printf("\n== Writing settings through the fall-back\n");
    Part(ShowWriteThroughFallBack);
    Part([] {
        // All users first: the current user's tree would otherwise still resolve to theirs.
        core::settings::Delete(u"\\USERS\\ALL\\Brontavale Tour");
        core::settings::Delete(u"\\USERS\\CURRENT\\Brontavale Tour");
        Line("removed", u"\\USERS\\CURRENT\\Brontavale Tour, \\USERS\\ALL\\Brontavale Tour");
    });
}

} // namespace bvtool
