// SPDX-License-Identifier: Apache-2.0
// The published keys, as a reader without a lock sees them.
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "cluster/keyring.h"
#include "tests/unit/wispd/bytes_by_hand.h"
#include "tests/unit/wispd/segments_fixture.h"

namespace {

using wispd::Shared_Segments;
using wispd_test::hex;

class WispdSecuritySegment : public wispd_test::WispdSegments {
  protected:
    WispdSecuritySegment() : segments_(Shared_Segments::create(keys_, {}).value()) {}

    Shared_Segments segments_;
};

// A key whose bytes are all the same.
Hb_sec_buffer_desc key_of(unsigned char byte) {
    unsigned char bytes[32];
    std::memset(bytes, byte, sizeof bytes);
    const sec_key_desc key = {SEC_KEY_TYPE_HMAC_SHA256, SEC_KEY_VERSION, sizeof bytes, bytes, nullptr};
    Hb_sec_buffer_desc form{};
    sec_buffer_desc marshalled = {HB_SHARED_KEY_SIZE, form.value};
    EXPECT_EQ(sec_marshal_typed_key(&key, &marshalled), 0);
    form.length = marshalled.length;
    return form;
}

std::vector<char> bytes_at(const std::vector<char> &content, std::size_t offset, std::size_t size) {
    return {content.begin() + static_cast<std::ptrdiff_t>(offset),
            content.begin() + static_cast<std::ptrdiff_t>(offset + size)};
}

TEST_F(WispdSecuritySegment, EveryFieldStandsAtItsPlace) {
    Hb_security_information fresh{};
    fresh.sequence_number = 7;
    fresh.previous_sec_status = {1, 2, 3, 4, 5, key_of(0x11)};
    fresh.current_sec_status = {6, 7, 8, 9, 10, key_of(0x22)};
    fresh.cache.keyCache[0] = key_of(0x33);
    fresh.cache.keyCache[9] = key_of(0x44);
    fresh.cache.keyCacheCount = 10;
    segments_.publish_security(fresh);
    const std::vector<char> content = this->content('p');
    ASSERT_EQ(content.size(), 3168u);
    EXPECT_EQ(bytes_at(content, 0, 4), hex("07000000"));
    EXPECT_EQ(bytes_at(content, 4, 24), hex("01000000 02000000 03000000 04000000 05000000 34000000"));
    EXPECT_EQ(bytes_at(content, 4 + 24, 4), hex("515a544b"));
    EXPECT_EQ(bytes_at(content, 4 + 24 + 16, 4), hex("11111111"));
    EXPECT_EQ(bytes_at(content, 284, 24), hex("06000000 07000000 08000000 09000000 0a000000 34000000"));
    EXPECT_EQ(bytes_at(content, 284 + 24 + 16, 4), hex("22222222"));
    EXPECT_EQ(bytes_at(content, 564, 4), hex("34000000"));
    EXPECT_EQ(bytes_at(content, 564 + 4 + 16, 4), hex("33333333"));
    EXPECT_EQ(bytes_at(content, 564 + 260, 260), std::vector<char>(260));
    EXPECT_EQ(bytes_at(content, 564 + 9 * 260 + 4 + 16, 4), hex("44444444"));
    EXPECT_EQ(bytes_at(content, 564 + 2600, 4), hex("0a000000"));
}

TEST_F(WispdSecuritySegment, ShorterKeyLeavesNothingOfTheLongerOne) {
    Hb_security_information fresh{};
    fresh.current_sec_status.key = key_of(0x22);
    segments_.publish_security(fresh);
    segments_.publish_security(Hb_security_information{});
    EXPECT_EQ(bytes_at(content('p'), 284, 280), std::vector<char>(280));
}

TEST_F(WispdSecuritySegment, KeysGoWithTheDaemonAlsoForWhoKeepsTheSegment) {
    const auto *attached = static_cast<const char *>(shmat(segment('p'), nullptr, SHM_RDONLY));
    {
        const Shared_Segments going(std::move(segments_));
        wispd::Keyring keyring({true, SEC_KEY_TYPE_HMAC_SHA256, 32, {}});
        const_cast<Shared_Segments &>(going).publish_security(keyring.content());
        EXPECT_EQ(attached[0], 1);
        EXPECT_EQ(attached[284 + 20], 52);
    }
    EXPECT_EQ(attached[0], 3);
    EXPECT_EQ(std::vector<char>(attached + 4, attached + 3168), std::vector<char>(3164));
    shmdt(attached);
}

// Unmarshals copies of the current key until it has seen the last generation. A copy made while the key was
// replaced may be rejected; an accepted copy is complete.
int read_keys(const char *segment, uint32_t last) {
    const auto *generation = reinterpret_cast<const volatile uint32_t *>(segment);
    const auto *length = reinterpret_cast<const volatile int32_t *>(segment + 284 + 20);
    long whole = 0;
    while (*generation < last || whole == 0) {
        const int32_t size = *length;
        if (size == 0) {
            continue;
        }
        if (size < 0 || size > 256) {
            return 2;
        }
        char copy[256];
        for (std::size_t i = 0; i < sizeof copy; ++i) {
            copy[i] = static_cast<const volatile char *>(segment)[284 + 24 + i];
        }
        sec_buffer_desc marshalled = {size, copy};
        sec_key_desc key{};
        if (sec_unmarshal_typed_key(&marshalled, &key) != 0) {
            continue;
        }
        ++whole;
        const auto *bytes = static_cast<const unsigned char *>(key.value);
        for (int i = 1; i < key.length; ++i) {
            if (bytes[i] != bytes[0]) {
                return 3;
            }
        }
        sec_release_typed_key(&key);
    }
    return 0;
}

TEST_F(WispdSecuritySegment, ReadersNeverTakeATornKey) {
    constexpr uint32_t ROTATIONS = 20000;
    const auto *attached = static_cast<const char *>(shmat(segment('p'), nullptr, SHM_RDONLY));
    const Hb_sec_buffer_desc keys[] = {key_of(0x11), key_of(0x22), key_of(0x33)};
    const pid_t reader = fork();
    if (reader == 0) {
        _exit(read_keys(attached, 2 * ROTATIONS));
    }
    Hb_security_information fresh{};
    for (uint32_t rotation = 1; rotation <= ROTATIONS; ++rotation) {
        fresh.sequence_number = 2 * rotation;
        fresh.current_sec_status.key = keys[rotation % 3];
        segments_.publish_security(fresh);
    }
    int status = -1;
    waitpid(reader, &status, 0);
    EXPECT_EQ(status, 0);
    shmdt(attached);
}

} // namespace
