// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "exporter/arguments.h"

namespace exporter {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

Parsed parse(std::vector<const char *> words) {
    words.insert(words.begin(), "hb_exporter");
    return parse_arguments(static_cast<int>(words.size()), words.data());
}

std::string complaint_about(const std::vector<const char *> &words) {
    const Parsed parsed = parse(words);
    EXPECT_FALSE(parsed.arguments.has_value());
    EXPECT_EQ(parsed.exit_status, 2);
    EXPECT_EQ(parsed.output, "");
    EXPECT_THAT(parsed.complaint, StartsWith("hb_exporter: "));
    return parsed.complaint;
}

TEST(ExporterArguments, ServeOnTheLocalHostWithoutOptions) {
    const Parsed parsed = parse({});
    ASSERT_TRUE(parsed.arguments.has_value());
    EXPECT_EQ(parsed.arguments->listen.host, "127.0.0.1");
    EXPECT_EQ(parsed.arguments->listen.port, 9782);
    EXPECT_EQ(parsed.arguments->text_file, "");
    EXPECT_EQ(parsed.arguments->socket, std::nullopt);
    EXPECT_EQ(parsed.arguments->stale, std::chrono::seconds(2));
    EXPECT_EQ(parsed.arguments->interval, std::chrono::seconds(10));
}

TEST(ExporterArguments, EveryOptionIsRead) {
    const Parsed http = parse({"--listen", "[::1]:9000", "--socket", "/run/s", "--stale", "7"});
    ASSERT_TRUE(http.arguments.has_value()) << http.complaint;
    EXPECT_EQ(http.arguments->listen.host, "::1");
    EXPECT_EQ(http.arguments->listen.port, 9000);
    EXPECT_EQ(http.arguments->socket, "/run/s");
    EXPECT_EQ(http.arguments->stale, std::chrono::seconds(7));
    const Parsed file = parse({"--textfile", "/x/hb.prom", "--interval", "30"});
    ASSERT_TRUE(file.arguments.has_value()) << file.complaint;
    EXPECT_EQ(file.arguments->text_file, "/x/hb.prom");
    EXPECT_EQ(file.arguments->interval, std::chrono::seconds(30));
}

TEST(ExporterArguments, AnAddressHasAPort) {
    EXPECT_EQ(parse_listen_address("localhost:1")->host, "localhost");
    EXPECT_EQ(parse_listen_address("10.0.0.1:65535")->port, 65535);
    EXPECT_EQ(parse_listen_address("127.0.0.1:0")->port, 0);
    for (const char *wrong : {"", "127.0.0.1", ":9782", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:x",
                              "::1:80", "[127.0.0.1]:80", "[]:80", "127.0.0.1:-1", "127.0.0.1:999999999999"}) {
        EXPECT_FALSE(parse_listen_address(wrong).has_value()) << wrong;
    }
}

TEST(ExporterArguments, WrongOnesAreRejectedWithTheReason) {
    EXPECT_THAT(complaint_about({"--listen", "9782"}),
                HasSubstr("'9782' is not an address and a port; expected for instance 127.0.0.1:9782"));
    EXPECT_THAT(complaint_about({"--stale", "1"}), HasSubstr("--stale: Value 1 not in range"));
    EXPECT_THAT(complaint_about({"--textfile", "/x", "--listen", "127.0.0.1:1"}), HasSubstr("excludes"));
    EXPECT_THAT(complaint_about({"--interval", "5"}), HasSubstr("requires --textfile"));
    EXPECT_THAT(complaint_about({"--no-such"}), HasSubstr("--no-such"));
}

TEST(ExporterArguments, HelpAndVersionSucceed) {
    const Parsed help = parse({"--help"});
    EXPECT_FALSE(help.arguments.has_value());
    EXPECT_EQ(help.exit_status, 0);
    EXPECT_THAT(help.output, HasSubstr("--textfile PATH"));
    EXPECT_THAT(help.output, HasSubstr("--listen ADDRESS:PORT Excludes: --textfile\n"));
    EXPECT_THAT(help.output, HasSubstr("--stale SECONDS "));
    EXPECT_THAT(help.output, Not(HasSubstr("INT in")));
    for (const char *description :
         {" Serve HTTP", " Write the metrics", " With --textfile", " Base path", " Report"}) {
        EXPECT_THAT(help.output, HasSubstr(description));
    }
    const Parsed version = parse({"--version"});
    EXPECT_EQ(version.exit_status, 0);
    EXPECT_EQ(version.output, "hb_exporter 1.0.0\n");
    EXPECT_EQ(version.complaint, "");
}

} // namespace
} // namespace exporter
