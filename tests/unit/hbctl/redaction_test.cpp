// SPDX-License-Identifier: Apache-2.0
// Texts of a report lose their keys, and nothing else.
#include <fstream>
#include <regex>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/report/redaction.h"

namespace {

using hbctl::configuration_without_keys;
using hbctl::configured_text;
using hbctl::Secrets;
using hbctl::settings_without_keys;
using testing::HasSubstr;
using testing::Not;

TEST(Redaction, KeepsSettingsAndRemovesComments) {
    Secrets secrets;
    EXPECT_EQ(
        configuration_without_keys("# my cluster\n[cluster] # here\nname = \"a b\" # old\n\nlocal_node=1\n"
                                   "[[node.adapter]]\naddress = '10.1.0.1'\nkey_mode = \"0640\"\n",
                                   secrets),
        "# (removed)\n[cluster]\nname = \"a b\"\n\nlocal_node=1\n[[node.adapter]]\naddress = '10.1.0.1'\n"
        "key_mode = \"0640\"\n");
}

TEST(Redaction, KeepsInlineTablesOfKnownSettings) {
    Secrets secrets;
    const std::string text =
        "adapter = [{network = 0, address = \"10.1.0.1\"}, {network = 1, address = 'none'}]\n"
        "adapter = [\n  { network = 0, address = \"10.1.0.2\" },\n]\n";
    EXPECT_EQ(configuration_without_keys(text, secrets), text);
    EXPECT_EQ(configuration_without_keys("adapter = [{network = 0, secret = \"abc\"}]\n", secrets),
              "adapter = (removed)\n");
}

TEST(Redaction, RemovesUnknownSettingsAndValuesOfSeveralLines) {
    Secrets secrets;
    const std::string text = configuration_without_keys(
        "secret = \"abc\"\nname = \"\"\"\nhidden\n\"\"\"\nkeys = [\n  \"0102\",\n]\nnode = [{ key = \"k\" }]\n"
        "type = \"000102030405060708090a0b0c0d0e0f\"\n",
        secrets);
    EXPECT_EQ(text,
              "secret = (removed)\nname = (removed)\n# (removed)\n# (removed)\nkeys = (removed)\n# (removed)\n"
              "]\nnode = (removed)\ntype = (removed)\n");
}

TEST(Redaction, RemovesTheKeyOfAnAgent) {
    Secrets secrets;
    EXPECT_EQ(
        configuration_without_keys(
            "[[source.agent]]\nnetwork = 0\nrpc = \"127.0.0.1:7373\"\nauth_key = \"open sesame\"\n"
            "agent = [{network = 1, rpc = \"[::1]:7373\", auth_key = \"sesame\"}]\n",
            secrets),
        "[[source.agent]]\nnetwork = 0\nrpc = \"127.0.0.1:7373\"\nauth_key = (removed)\nagent = (removed)\n");
}

// An administrator reads each of them in the report, except a secret.
TEST(Redaction, KeepsEachDocumentedSetting) {
    std::ifstream stream(HB_SOURCE_DIR "/docs/wispd.md");
    static const std::regex head(R"(\| key.*\| type \|.*)");
    static const std::regex code("`([a-z_]+)`");
    bool is_table = false;
    int found = 0;
    for (std::string line; std::getline(stream, line);) {
        is_table = line.starts_with("|") && (is_table || std::regex_match(line, head));
        const std::string cell = line.substr(0, line.find(" | "));
        if (!is_table || std::regex_match(line, head)) {
            continue;
        }
        for (std::sregex_iterator key(cell.begin(), cell.end(), code), end; key != end; ++key) {
            Secrets secrets;
            const std::string name = (*key)[1].str();
            const std::string setting = name + " = 1\n";
            EXPECT_EQ(configuration_without_keys(setting, secrets),
                      name == "auth_key" ? "auth_key = (removed)\n" : setting);
            ++found;
        }
    }
    EXPECT_GE(found, 40);
}

TEST(Redaction, RemovesKeysFromTheEnginesSettings) {
    Secrets secrets;
    EXPECT_EQ(settings_without_keys(
                  "totem {\n    # comment\n    key: 31415926535897932\n    keyfile: /etc/key\n"
                  "    token: 1000\n}\ntotem.key (str) = sesame-open-now\nnodelist.node.0.name (str) = a\n",
                  secrets),
              "totem {\n# (removed)\n    key: (removed)\n    keyfile: /etc/key\n    token: 1000\n}\n"
              "totem.key (str) = (removed)\nnodelist.node.0.name (str) = a\n");
    EXPECT_EQ(secrets.removed_from("x sesame-open-now y"), "x (removed) y");
}

// The log may repeat it.
TEST(Redaction, KnowsASecretWhateverFollowsIt) {
    for (const char *line :
         {"key: \"swordfish99xyz\"   ", "    key: swordfish99xyz\t", "totem { key: swordfish99xyz",
          "totem { key: swordfish99xyz }", "{ token: 1, Passphrase = 'swordfish99xyz', a: 2 }",
          "totem.key (str) = swordfish99xyz", "\"key\": \"swordfish99xyz\", \"a\": 1"}) {
        Secrets secrets;
        EXPECT_THAT(settings_without_keys(line, secrets), Not(HasSubstr("swordfish"))) << line;
        EXPECT_EQ(secrets.removed_from("<swordfish99xyz>"), "<(removed)>") << line;
    }
    for (const char *line :
         {"admin_password = \"swordfish99xyz\" # the old one", "secret = swordfish99xyz # old",
          "node = [{ number = 1, key = 'swordfish99xyz' }]", "# key: swordfish99xyz"}) {
        Secrets secrets;
        EXPECT_THAT(configuration_without_keys(line, secrets), Not(HasSubstr("swordfish"))) << line;
        EXPECT_EQ(secrets.removed_from("<swordfish99xyz>"), "<(removed)>") << line;
    }
    Secrets secrets;
    settings_without_keys("key: " + std::string(600, ' ') + "swordfish99xyz\n", secrets);
    EXPECT_EQ(secrets.removed_from("<swordfish99xyz>"), "<(removed)>");
}

TEST(Redaction, RemovesAKeyInEachForm) {
    Secrets secrets;
    secrets.add("\x01\xfe\x03\xfd\x05\xfb\xff\xff\xfe\x0a");
    for (const char *form : {"\x01\xfe\x03\xfd\x05\xfb\xff\xff\xfe\x0a", "01fe03fd05fbfffffe0a",
                             "01FE03FD05FBFFFFFE0A", "Af4D/QX7///+Cg", "Af4D_QX7___-Cg"}) {
        EXPECT_EQ(secrets.removed_from(std::string("<") + form + ">"), "<(removed)>") << form;
    }
}

TEST(Redaction, FindsTheBytesOfAKeyThatIsWrittenAsText) {
    for (const char *text : {"000102030405060708090a0B0c0d0e0f", "AAECAwQFBgcICQoLDA0ODw=="}) {
        Secrets secrets;
        configuration_without_keys(std::string("# key: ") + text + "\n", secrets);
        std::string bytes;
        for (char byte = 0; byte < 16; ++byte) {
            bytes += byte;
        }
        EXPECT_EQ(secrets.removed_from(bytes), "(removed)") << text;
        EXPECT_EQ(secrets.removed_from("000102030405060708090A0B0C0D0E0F"), "(removed)") << text;
    }
}

TEST(Redaction, RemovesKeysThatOverlap) {
    Secrets secrets;
    secrets.add("first-key-part");
    secrets.add("part-of-the-second");
    secrets.add("part-of-the-second-one");
    EXPECT_EQ(secrets.removed_from("<first-key-part-of-the-second-one> first-key-"), "<(removed)> first-key-");
}

// With a search for each of them this would need minutes.
TEST(Redaction, FindsOneOfManyKeysInALongText) {
    Secrets secrets;
    std::string comments;
    for (int i = 0; i < 16000; ++i) {
        comments += "# 0123456789ABCDEF" + std::to_string(100000 + i) + "\n";
        comments += "# " + std::to_string(1000000000 + i * 7) + "abcdef\n";
    }
    settings_without_keys(comments, secrets);
    const std::string filler(4U * 1024 * 1024, 'x');
    EXPECT_EQ(secrets.removed_from(filler + " 0123456789abcdef115999 " + filler),
              filler + " (removed) " + filler);
}

TEST(Redaction, LeavesShortTextsAndPaths) {
    Secrets secrets;
    secrets.add("1");
    secrets.add_words_like_keys("see /etc/wisp/cluster.toml.example, node 1234, 4294967295");
    const std::string text = "1 /etc/wisp/cluster.toml.example 4294967295 \"1\"";
    EXPECT_EQ(secrets.removed_from(text), text);
}

TEST(Redaction, ALongLineIsRemovedWhole) {
    Secrets secrets;
    EXPECT_EQ(configuration_without_keys("name = \"" + std::string(1000000, 'x') + "\"\n", secrets),
              "# (removed)\n");
    EXPECT_EQ(settings_without_keys("name: " + std::string(1000000, 'x') + "\n", secrets), "# (removed)\n");
}

TEST(Redaction, FindsAConfiguredPath) {
    EXPECT_EQ(configured_text("[daemon]\nlog_file = \"/var/log/w\" # here\n", "log_file"), "/var/log/w");
    EXPECT_EQ(configured_text("# log_file = \"/var/log/w\"\n", "log_file"), "");
}

} // namespace
