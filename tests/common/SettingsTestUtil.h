// A fresh store with the settings tree's two user locations at hand: \USERS\CURRENT\SetTest is
// Software\SetTest of the current user, \USERS\ALL\SetTest that of the default user.
#pragma once

#include "Core/Common/RegistryKey.h"
#include "Core/Common/Types.h"

#include "platform/RegistryTestUtil.h"

#include <bvplatform/regadmin.h>
#include <bvplatform/registry.h>

#include <gtest/gtest.h>

namespace bvtest {

class SettingsFixture : public RegistryFixture {
protected:
    using RegistryKey = core::registry::RegistryKey;
    static constexpr auto kUser = RegistryKey::eSubTreeCurrentUser;
    static constexpr auto kUsers = RegistryKey::eSubTreeUsers;
    static inline const TStr kOwn = u"\\USERS\\CURRENT\\SetTest";
    static inline const TStr kShared = u"\\USERS\\ALL\\SetTest";

    /// The registry path below the subtree's root of `name` under SetTest.
    static TStr KeyPath(RegistryKey::mtSubTree subTree, const TStr& name) {
        const TStr root = subTree == kUser ? u"Software\\SetTest" : u".DEFAULT\\Software\\SetTest";
        return name.empty() ? root : root + u"\\" + name;
    }
    /// Creates `name` below SetTest of the current user or of all users.
    static RegistryKey Key(RegistryKey::mtSubTree subTree, const TStr& name = u"") {
        return RegistryKey(subTree, KeyPath(subTree, name).c_str(), KEY_ALL_ACCESS, true);
    }
    static void ReadOnly(RegistryKey::mtSubTree subTree, const TStr& name) {
        ASSERT_EQ(BvRegSetKeyReadOnly(subTree == kUser ? HKEY_CURRENT_USER : HKEY_USERS,
                                      KeyPath(subTree, name).c_str(), TRUE),
                  ERROR_SUCCESS);
    }
};

} // namespace bvtest
