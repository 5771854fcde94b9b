// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "cluster/cluster.h"
#include "cluster/keyring.h"

namespace {

using wispd::Keyring;
using wispd::Security_Settings;

std::string form_of(const Hb_sec_buffer_desc &key) {
    return {key.value, static_cast<std::size_t>(key.length)};
}

const Security_Settings ON{true, SEC_KEY_TYPE_HMAC_SHA256, 32, {}};

TEST(WispdKeyring, WithoutSecurityHoldsNothingButAGeneration) {
    Keyring keyring(Security_Settings{});
    Hb_security_information nothing{};
    nothing.sequence_number = 1;
    EXPECT_EQ(std::memcmp(&keyring.content(), &nothing, sizeof nothing), 0);
    EXPECT_THROW(keyring.rotate(), wispd::Refused);
    EXPECT_EQ(keyring.content().sequence_number, 1u);
}

TEST(WispdKeyring, BeginsWithOneKey) {
    const Keyring keyring(ON);
    const Hb_Shared_Security_Status &current = keyring.content().current_sec_status;
    EXPECT_EQ(current.securityOn, 1);
    EXPECT_EQ(current.keyCount, 1);
    EXPECT_EQ(current.is_valid_for_signing, 1);
    EXPECT_EQ(current.is_valid_for_authenticating, 1);
    EXPECT_EQ(current.key.length, 52);
    EXPECT_EQ(form_of(current.key).substr(0, 4), "QZTK");
    EXPECT_EQ(keyring.content().previous_sec_status.key.length, 0);
    EXPECT_EQ(keyring.content().cache.keyCacheCount, 0u);
}

TEST(WispdKeyring, MakesKeysOfTheTypeAndLengthThatAreConfigured) {
    Keyring keyring({true, SEC_KEY_TYPE_HMAC_SHA512, 236, {}});
    EXPECT_EQ(keyring.content().current_sec_status.key.length, 256);
    sec_key_desc key{};
    Hb_sec_buffer_desc copy = keyring.content().current_sec_status.key;
    sec_buffer_desc marshalled = {copy.length, copy.value};
    ASSERT_EQ(sec_unmarshal_typed_key(&marshalled, &key), 0);
    EXPECT_EQ(key.type, 2u);
    EXPECT_EQ(key.length, 236);
    sec_release_typed_key(&key);
}

TEST(WispdKeyring, RotationMovesEachKeyOnePlaceOn) {
    Keyring keyring(ON);
    const std::string first = form_of(keyring.content().current_sec_status.key);
    keyring.rotate();
    const std::string second = form_of(keyring.content().current_sec_status.key);
    EXPECT_NE(first, second);
    EXPECT_EQ(form_of(keyring.content().previous_sec_status.key), first);
    EXPECT_EQ(keyring.content().previous_sec_status.securityOn, 1);
    EXPECT_EQ(keyring.content().previous_sec_status.keyCount, 1);
    EXPECT_EQ(keyring.content().previous_sec_status.is_valid_for_signing, 0);
    EXPECT_EQ(keyring.content().previous_sec_status.is_valid_for_authenticating, 1);
    EXPECT_EQ(keyring.content().current_sec_status.keyCount, 2);
    EXPECT_EQ(keyring.content().current_sec_status.is_valid_for_signing, 1);
    EXPECT_EQ(keyring.content().cache.keyCacheCount, 0u);
    EXPECT_EQ(keyring.content().sequence_number, 3u);
    keyring.rotate();
    EXPECT_EQ(form_of(keyring.content().previous_sec_status.key), second);
    EXPECT_EQ(keyring.content().cache.keyCacheCount, 1u);
    EXPECT_EQ(form_of(keyring.content().cache.keyCache[0]), first);
    EXPECT_EQ(keyring.content().cache.keyCache[1].length, 0);
    EXPECT_EQ(keyring.content().current_sec_status.keyCount, 3);
}

TEST(WispdKeyring, CacheKeepsTheTenNewest) {
    Keyring keyring(ON);
    std::vector<std::string> keys{form_of(keyring.content().current_sec_status.key)};
    for (int i = 0; i < 14; ++i) {
        keyring.rotate();
        keys.push_back(form_of(keyring.content().current_sec_status.key));
    }
    EXPECT_EQ(keyring.content().cache.keyCacheCount, 10u);
    EXPECT_EQ(keyring.content().current_sec_status.keyCount, 12);
    for (std::size_t slot = 0; slot < 10; ++slot) {
        EXPECT_EQ(form_of(keyring.content().cache.keyCache[slot]), keys[12 - slot]) << slot;
    }
}

TEST(WispdKeyring, TypesHaveTheNamesOfTheConfiguration) {
    EXPECT_STREQ(wispd::key_type_name(1), "hmac-sha256");
    EXPECT_STREQ(wispd::key_type_name(2), "hmac-sha512");
    EXPECT_STREQ(wispd::key_type_name(3), "aes-cmac");
    EXPECT_EQ(wispd::key_type_name(0), nullptr);
}

} // namespace
