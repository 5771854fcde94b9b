// Routes, keys and control requests: how the user makes them, and how the answers are printed.
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/hbctl/arguments.h"
#include "tools/hbctl/error_text.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"

using namespace hbctl;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

Parsed parse(std::vector<const char *> words) {
    words.insert(words.begin(), "hbctl");
    return parse_arguments(static_cast<int>(words.size()), words.data());
}

Arguments sound(const std::vector<const char *> &words) {
    const Parsed parsed = parse(words);
    EXPECT_EQ(parsed.complaint, "");
    EXPECT_TRUE(parsed.arguments.has_value());
    return parsed.arguments.value_or(Arguments{});
}

std::string refused(const std::vector<const char *> &words) {
    const Parsed parsed = parse(words);
    EXPECT_FALSE(parsed.arguments.has_value());
    EXPECT_EQ(parsed.exit_status, 2);
    return parsed.complaint;
}

Control_Request request(const std::vector<const char *> &words) {
    const Arguments arguments = sound(words);
    EXPECT_EQ(arguments.verb, Verb::control);
    return arguments.control.request;
}

struct Line {
    std::vector<const char *> words;
    Control_Verb verb;
    const char *text;
    const char *purpose;
    const char *json;
};

const std::vector<Line> &every_request() {
    static const std::vector<Line> lines{
        {{"node-down", "3"},
         Control_Verb::node_down,
         "node-down 3: sent",
         "report that node 3 is down",
         R"({"format":1,"request":"node-down","node":3,"result":"sent"})"},
        {{"node-may-be-down", "2048"},
         Control_Verb::node_may_be_down,
         "node-may-be-down 2048: sent",
         "report that node 2048 may be down",
         R"({"format":1,"request":"node-may-be-down","node":2048,"result":"sent"})"},
        {{"adapter-down", "98351"},
         Control_Verb::adapter_down,
         "adapter-down 98351: sent",
         "report that adapter 98351 is down",
         R"({"format":1,"request":"adapter-down","adapter":98351,"result":"sent"})"},
        {{"adapter-may-be-down", "0"},
         Control_Verb::adapter_may_be_down,
         "adapter-may-be-down 0: sent",
         "report that adapter 0 may be down",
         R"({"format":1,"request":"adapter-may-be-down","adapter":0,"result":"sent"})"},
        {{"enable", "97"},
         Control_Verb::enable,
         "enable 97: sent",
         "enable adapter 97",
         R"({"format":1,"request":"enable","adapter":97,"result":"sent"})"},
        {{"disable", "97"},
         Control_Verb::disable,
         "disable 97: sent",
         "disable adapter 97",
         R"({"format":1,"request":"disable","adapter":97,"result":"sent"})"},
        {{"ifconfig-up", "97"},
         Control_Verb::ifconfig_up,
         "ifconfig-up 97: sent",
         "report that the interface of adapter 97 is up",
         R"({"format":1,"request":"ifconfig-up","adapter":97,"result":"sent"})"},
        {{"ifconfig-down", "97"},
         Control_Verb::ifconfig_down,
         "ifconfig-down 97: sent",
         "report that the interface of adapter 97 is down",
         R"({"format":1,"request":"ifconfig-down","adapter":97,"result":"sent"})"},
        {{"configure", "97", "10.1.0.9"},
         Control_Verb::configure,
         "configure 97 10.1.0.9: done",
         "set the address of adapter 97 to 10.1.0.9",
         R"({"format":1,"request":"configure","adapter":97,"address":"10.1.0.9","result":"done"})"},
        {{"unconfigure", "97"},
         Control_Verb::unconfigure,
         "unconfigure 97: done",
         "remove the address of adapter 97",
         R"({"format":1,"request":"unconfigure","adapter":97,"result":"done"})"},
        {{"swap", "97", "10.1.0.9"},
         Control_Verb::swap,
         "swap 97 10.1.0.9: done",
         "exchange the address of adapter 97 with the adapter that has 10.1.0.9",
         R"({"format":1,"request":"swap","adapter":97,"address":"10.1.0.9","result":"done"})"},
        {{"grace", "97", "5"},
         Control_Verb::grace,
         "grace 97 5: done",
         "set a grace of 5 s for adapter 97",
         R"({"format":1,"request":"grace","adapter":97,"seconds":5,"result":"done"})"},
        {{"simulate-death", "7"},
         Control_Verb::simulate_death,
         "simulate-death 7: sent",
         "simulate the death of this node for 7 s",
         R"({"format":1,"request":"simulate-death","seconds":7,"result":"sent"})"},
        {{"discard-stale", "on"},
         Control_Verb::discard_stale,
         "discard-stale on: sent",
         "discard stale messages",
         R"({"format":1,"request":"discard-stale","on":true,"result":"sent"})"},
        {{"discard-stale", "off"},
         Control_Verb::discard_stale,
         "discard-stale off: sent",
         "keep stale messages",
         R"({"format":1,"request":"discard-stale","on":false,"result":"sent"})"},
        {{"client-heartbeat", "4294967295"},
         Control_Verb::client_heartbeat,
         "client-heartbeat 4294967295: sent",
         "send a client heartbeat",
         R"({"format":1,"request":"client-heartbeat","sequence":4294967295,"result":"sent"})"},
        {{"manual-control", "on", "eth0"},
         Control_Verb::manual_control,
         "manual-control on eth0: sent",
         "put interface eth0 under manual control",
         R"({"format":1,"request":"manual-control","on":true,"interface":"eth0","result":"sent"})"},
        {{"manual-control", "off"},
         Control_Verb::manual_control,
         "manual-control off: sent",
         "release all interfaces from manual control",
         R"({"format":1,"request":"manual-control","on":false,"interface":null,"result":"sent"})"},
        {{"shutdown"},
         Control_Verb::shutdown,
         "shutdown: sent",
         "stop the daemon",
         R"({"format":1,"request":"shutdown","result":"sent"})"},
    };
    return lines;
}

Route_Report sample_route() {
    return {3, false, {"10.1.0.1", "10.1.0.3"}};
}

Key_Report sample_keys() {
    Key_Report report;
    report.generation = 4;
    report.current = {true, 2, true, true, false};
    report.previous = {true, 1, false, true, false};
    report.cached = 1;
    report.keys = {{"current", true, 1, 1, 32}, {"previous", true, 3, 1, 16}, {"cache 1", false, 0, 0, 0}};
    return report;
}

} // namespace

TEST(HbctlControl, EveryRequestIsReadAndToldInWordsAndInJson) {
    for (const Line &line : every_request()) {
        const Control_Request made = request(line.words);
        EXPECT_EQ(made.verb, line.verb) << line.text;
        const Request_Result result = form_of(made.verb).answered ? Request_Result::done : Request_Result::sent;
        EXPECT_EQ(control_text(made, result), line.text);
        EXPECT_EQ(request_purpose(made), line.purpose);
        EXPECT_EQ(control_json(made, result), line.json);
    }
}

TEST(HbctlControl, ARequestThatMayBeRefusedIsNotReportedAsSentAlone) {
    const Control_Request made = request({"node-down", "3"});
    EXPECT_EQ(control_text(made, Request_Result::unconfirmed), "node-down 3: sent, not confirmed");
    EXPECT_EQ(control_json(made, Request_Result::unconfirmed),
              R"({"format":1,"request":"node-down","node":3,"result":"unconfirmed"})");
}

TEST(HbctlControl, AMemberIsShownAsTheUserNamedIt) {
    Control_Request made = request({"grace", "alpha/net_a", "5"});
    EXPECT_EQ(made.adapter, (Member_Word{0, "alpha/net_a"}));
    made.adapter.number = 2;
    EXPECT_EQ(control_text(made, Request_Result::done), "grace alpha/net_a 5: done");
    EXPECT_EQ(request_purpose(made), "set a grace of 5 s for adapter alpha/net_a");
    EXPECT_EQ(control_json(made, Request_Result::done),
              R"({"format":1,"request":"grace","adapter":2,"seconds":5,"result":"done"})");
    EXPECT_EQ(request_purpose(request({"node-down", "gamma"})), "report that node gamma is down");
}

TEST(HbctlControl, EveryFormHasALineInThisTest) {
    for (const Control_Form &form : control_forms()) {
        bool found = false;
        for (const Line &line : every_request()) {
            found = found || std::string(line.words.front()) == form.name;
        }
        EXPECT_TRUE(found) << form.name;
    }
}

TEST(HbctlControl, OperandsMustBeThereAndInRange) {
    EXPECT_THAT(refused({"node-down"}), HasSubstr("node is required"));
    EXPECT_THAT(refused({"node-down", "2049"}), HasSubstr("'2049' is not a number from 0 to 2048"));
    EXPECT_THAT(refused({"node-down", "-3"}), HasSubstr("-3"));
    EXPECT_THAT(refused({"node-down", "99999999999999999999"}), HasSubstr("is not a number from 0 to 2048"));
    EXPECT_THAT(refused({"node-down", ""}), HasSubstr("a number or a name is empty"));
    EXPECT_THAT(refused({"adapter-down", "98352"}), HasSubstr("'98352' is not a number from 0 to 98351"));
    EXPECT_THAT(refused({"grace", "97", "2147483648"}),
                HasSubstr("'2147483648' is not a number from -2147483648 to 2147483647"));
    EXPECT_THAT(refused({"client-heartbeat", "4294967296"}),
                HasSubstr("'4294967296' is not a number from 0 to 4294967295"));
    EXPECT_THAT(refused({"swap", "97", "fe80::1"}),
                HasSubstr("'fe80::1' is not an IPv4 address such as 10.1.0.3"));
    EXPECT_THAT(refused({"swap", "97", "10.1.0"}), HasSubstr("'10.1.0' is not an IPv4 address"));
    EXPECT_THAT(refused({"discard-stale", "perhaps"}), HasSubstr("perhaps not in {on,off}"));
    EXPECT_THAT(refused({"shutdown", "now"}), HasSubstr("now"));
}

TEST(HbctlControl, ANegativeTimeIsTheDaemonsToRefuse) {
    EXPECT_EQ(request({"grace", "97", "-4"}).seconds, -4);
}

TEST(HbctlControl, AnInterfacesNameCannotSteerATerminal) {
    EXPECT_EQ(control_text(request({"manual-control", "on", "eth\x1b[2J"}), Request_Result::sent),
              "manual-control on eth\\x1B[2J: sent");
}

TEST(HbctlRoute, IsAskedOfTheDaemonOrReadFromSharedMemory) {
    EXPECT_EQ(sound({"route", "3"}).verb, Verb::route);
    EXPECT_EQ(sound({"route", "3"}).control.route.node, (Member_Word{3, ""}));
    EXPECT_EQ(sound({"route", "gamma"}).control.route.node, (Member_Word{0, "gamma"}));
    EXPECT_FALSE(sound({"route", "3"}).control.route.shared);
    EXPECT_TRUE(sound({"route", "3", "--shared"}).control.route.shared);
    EXPECT_TRUE(sound({"route", "3", "--ip"}).control.route.ip_only);
    EXPECT_THAT(refused({"route"}), HasSubstr("node is required"));
    EXPECT_THAT(refused({"route", "-1"}), HasSubstr("-1"));
}

TEST(HbctlRoute, InWordsAndInJson) {
    Route_Report report = sample_route();
    EXPECT_THAT(route_text(report),
                ElementsAre("route to node 3: 2 hops", "HOP  ADDRESS", "  1  10.1.0.1", "  2  10.1.0.3"));
    EXPECT_THAT(
        route_json(report),
        ElementsAre(R"({"format":1,"node":3,"shared":false,"hops":["10.1.0.1","10.1.0.3"],"name":null})"));
    report.name = "gamma";
    EXPECT_EQ(route_text(report).front(), "route to node 3 (gamma): 2 hops");
    report.shared = true;
    report.hops.clear();
    EXPECT_THAT(route_text(report),
                ElementsAre("route to node 3 (gamma): 0 hops, from shared memory", "HOP  ADDRESS"));
    EXPECT_THAT(route_json(report),
                ElementsAre(R"({"format":1,"node":3,"shared":true,"hops":[],"name":"gamma"})"));
}

TEST(HbctlKeys, InWordsAndInJson) {
    EXPECT_EQ(sound({"keys"}).verb, Verb::keys);
    EXPECT_THAT(keys_text(sample_keys()),
                ElementsAre("security    on, 2 keys, the newest signs and authenticates",
                            "before      on, 1 key, the newest does not sign and authenticates",
                            "generation  4", "KEY       TYPE          VERSION  BYTES",
                            "current   HMAC-SHA-256        1     32", "previous  AES-CMAC            1     16",
                            "cache 1   none                -      -"));
    EXPECT_THAT(
        keys_json(sample_keys()),
        ElementsAre(
            R"({"format":1,"generation":4,"current":{"on":true,"keys":2,"signs":true,"authenticates":true,)"
            R"("klom_compatible":false},"previous":{"on":true,"keys":1,"signs":false,"authenticates":true,)"
            R"("klom_compatible":false},"cached":1,"keys":[{"key":"current","type":"HMAC-SHA-256",)"
            R"("version":1,"bytes":32},{"key":"previous","type":"AES-CMAC","version":1,"bytes":16},)"
            R"({"key":"cache 1","type":null,"version":null,"bytes":null}]})"));
}

TEST(HbctlKeys, SecurityThatIsOff) {
    EXPECT_EQ(keys_text(Key_Report{}).front(), "security    off");
}

TEST(HbctlAdapterState, OfOneOrOfAll) {
    EXPECT_EQ(sound({"adapter-state"}).control.adapter, std::nullopt);
    EXPECT_EQ(sound({"adapter-state", "97"}).control.adapter, (Member_Word{97, ""}));
    EXPECT_EQ(sound({"adapter-state", "alpha/net_a"}).control.adapter, (Member_Word{0, "alpha/net_a"}));
    EXPECT_THAT(refused({"adapter-state", "98352"}), HasSubstr("'98352' is not a number from 0 to 98351"));
    EXPECT_THAT(adapter_states_text({{96, 1, "alpha/net_a"}, {97, 2}, {98, 0}}),
                ElementsAre("ADAPTER  NAME         STATE", "     96  alpha/net_a  up",
                            "     97  -            down", "     98  -            unknown"));
    EXPECT_THAT(adapter_states_json({{96, 1, "alpha/net_a"}, {97, 2}}),
                ElementsAre(R"({"format":1,"adapter":96,"state":"up","name":"alpha/net_a"})",
                            R"({"format":1,"adapter":97,"state":"down","name":null})"));
    EXPECT_THAT(adapter_states_text({}), ElementsAre("no adapters are configured on this node"));
}

TEST(HbctlMulticast, TakesAPortNodesAndAMessage) {
    const Multicast_Request made =
        sound({"multicast", "--port", "80", "--nodes", "1,3-4", "hello"}).control.multicast;
    EXPECT_EQ(made.port, 80);
    EXPECT_THAT(made.nodes, ElementsAre(Member_Word{1, ""}, Member_Word{3, ""}, Member_Word{4, ""}));
    EXPECT_EQ(made.text, "hello");
    EXPECT_EQ(multicast_text(made, 5, Request_Result::sent), "multicast: 5 bytes sent for port 80 of 3 nodes");
    EXPECT_EQ(multicast_json(made, 5, Request_Result::sent),
              R"({"format":1,"request":"multicast","port":80,"nodes":[1,3,4],"bytes":5,"result":"sent"})");
    EXPECT_EQ(sound({"multicast", "--port", "80", "--nodes", "1"}).control.multicast.text, std::nullopt);
    EXPECT_THAT(refused({"multicast", "--nodes", "1"}), HasSubstr("--port is required"));
    EXPECT_THAT(refused({"multicast", "--port", "80"}), HasSubstr("--nodes is required"));
    EXPECT_THAT(refused({"multicast", "--port", "65536", "--nodes", "1"}),
                HasSubstr("'65536' is not a number"));
    EXPECT_THAT(refused({"multicast", "--port", "80", "--nodes", "2049"}), HasSubstr("2049"));
}

TEST(HbctlRequestErrorText, NumbersMeanWhatTheDaemonMeansByThem) {
    EXPECT_EQ(request_error_text(3),
              "the daemon does not permit this user to act: run as root or as a member of its act_group");
    EXPECT_EQ(request_error_text(8), "the daemon could not do it, or does not permit this user to act");
    EXPECT_EQ(request_error_text(52), "the time is out of range");
    EXPECT_EQ(request_error_text(9), "the node is not configured");
    EXPECT_EQ(request_error_text(16), "the daemon closed the connection");
    EXPECT_EQ(request_error_text(1000), "unknown error number");
}
