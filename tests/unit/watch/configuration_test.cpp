// SPDX-License-Identifier: Apache-2.0
// The body is that of docs/protocol.md: node 1 is local, and nodes 1 and 2 have adapters 2 and 4 on network 0.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/watch/watch_parts.h"

namespace {

using Bytes = std::vector<unsigned char>;

void add(Bytes &bytes, const Bytes &more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

void add_text(Bytes &bytes, const std::string &text, std::size_t size) {
    bytes.insert(bytes.end(), text.begin(), text.end());
    bytes.insert(bytes.end(), size - text.size(), 0);
}

void add_adapter(Bytes &bytes, unsigned char number, unsigned char last_byte_of_address) {
    add(bytes, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 10, 1, 0, last_byte_of_address});
    add(bytes, {0, 0});
    add_text(bytes, "eth0", 36);
    add(bytes, {0, 0, number, 0, 0, 0, 1, 0, 0, 0});
}

Bytes example(const Bytes &adapters = {2, 4}) {
    Bytes bytes{1, 0, 0, 0, 4, 0, 0, 0, 2, 0, 0, 0, static_cast<unsigned char>(adapters.size()),
                0, 0, 0, 1, 0, 0, 0};
    for (const unsigned char adapter : adapters) {
        add_adapter(bytes, adapter, adapter);
    }
    add_text(bytes, "net_a", 70);
    add_text(bytes, "ether", 16);
    return bytes;
}

class Watched_Configuration : public testing::Test {
  protected:
    ~Watched_Configuration() override {
        hbw_configuration_free(&configuration_);
        hbw_configuration_free(&other_);
    }

    int read(const Bytes &bytes) { return hbw_configuration_read(&configuration_, bytes.data(), bytes.size()); }

    Hbw_Configuration configuration_{};
    Hbw_Configuration other_{};
};

TEST_F(Watched_Configuration, HoldsWhatTheDaemonSent) {
    ASSERT_EQ(read(example()), 0);
    EXPECT_EQ(configuration_.local_node, 1);
    EXPECT_FALSE(hbw_bits_has(&configuration_.nodes, 0));
    EXPECT_TRUE(hbw_bits_has(&configuration_.nodes, 1));
    EXPECT_TRUE(hbw_bits_has(&configuration_.nodes, 2));
    const Hb_Watch_Adapter *adapter = hbw_configuration_find(&configuration_, 4);
    ASSERT_NE(adapter, nullptr);
    EXPECT_EQ(adapter->node, 2);
    EXPECT_EQ(adapter->network, 0);
    EXPECT_EQ(adapter->type, std::string("eth0"));
    EXPECT_EQ(adapter->address.i6_ipv6.s6_addr[15], 4);
    EXPECT_EQ(hbw_configuration_find(&configuration_, 3), nullptr);
    EXPECT_EQ(configuration_.networks[0].Hb_network_name, std::string("net_a"));
    EXPECT_EQ(configuration_.networks[0].Hb_network_type, std::string("ether"));
}

TEST_F(Watched_Configuration, SortsTheAdaptersAndDropsARepeatedNumber) {
    ASSERT_EQ(read(example({4, 2, 4, 7})), 0);
    ASSERT_EQ(configuration_.adapter_count, 3U);
    EXPECT_EQ(configuration_.adapters[0].number, 2U);
    EXPECT_EQ(configuration_.adapters[1].number, 4U);
    EXPECT_EQ(configuration_.adapters[2].number, 7U);
}

TEST_F(Watched_Configuration, RejectsABodyThatIsCutAnywhere) {
    const Bytes whole = example();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(read(cut), HB_ERROR_UNEXPECTED_REPLY) << size;
    }
}

TEST_F(Watched_Configuration, RejectsCountsBeyondTheLimits) {
    struct Beyond {
        std::size_t at;
        int32_t value;
    };
    for (const Beyond &beyond :
         {Beyond{4, 2050}, Beyond{4, -1}, Beyond{8, 49}, Beyond{8, -1}, Beyond{12, 98353}, Beyond{12, -1},
          Beyond{16, 49}, Beyond{16, -1}, Beyond{8, 0}}) {
        Bytes bytes = example();
        bytes.resize(bytes.size() + 8000000);
        for (std::size_t i = 0; i < 4; ++i) {
            bytes[beyond.at + i] = static_cast<unsigned char>(static_cast<uint32_t>(beyond.value) >> (8 * i));
        }
        EXPECT_EQ(read(bytes), HB_ERROR_UNEXPECTED_REPLY) << beyond.at << " " << beyond.value;
    }
}

TEST_F(Watched_Configuration, RejectsAnAdapterNumberBeyondItsSlots) {
    EXPECT_EQ(read(example({2, 8})), HB_ERROR_UNEXPECTED_REPLY);
    EXPECT_EQ(read(example({2, 7})), 0);
}

TEST_F(Watched_Configuration, DiffersByEveryPartButTheState) {
    ASSERT_EQ(read(example()), 0);
    const auto differs = [&](const Bytes &bytes) {
        EXPECT_EQ(hbw_configuration_read(&other_, bytes.data(), bytes.size()), 0);
        return hbw_configurations_differ(&configuration_, &other_) != 0;
    };
    EXPECT_FALSE(differs(example()));
    EXPECT_TRUE(differs(example({2})));
    EXPECT_TRUE(differs(example({2, 6})));
    for (const std::size_t at : {0U, 35U, 38U, 20U + 128U, 20U + 128U + 70U}) {
        Bytes changed = example();
        changed[at] = static_cast<unsigned char>(changed[at] ^ 1U);
        EXPECT_TRUE(differs(changed)) << at;
    }
    Bytes down = example();
    down[20 + 60] = 2;
    EXPECT_FALSE(differs(down));
}

} // namespace
