// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdio>
#include <stdexcept>

#include "hb_client.h"
#include "tools/hbctl/ask_daemon.h"
#include "tools/hbctl/commands/commands.h"
#include "tools/hbctl/configured.h"
#include "tools/hbctl/output.h"
#include "tools/hbctl/plain_text.h"
#include "tools/hbctl/read_picture.h"
#include "tools/hbctl/render_json.h"
#include "tools/hbctl/render_text.h"
#include "tools/hbctl/request.h"

namespace hbctl {
namespace {

// More than the library accepts, so that the library rejects a long message instead of sending a cut one.
constexpr std::size_t MOST_READ = 10001;

std::string standard_input() {
    std::array<char, MOST_READ> bytes;
    const std::size_t length = std::fread(bytes.data(), 1, bytes.size(), stdin);
    if (std::ferror(stdin) != 0) {
        throw std::runtime_error("cannot read the message from standard input");
    }
    return {bytes.data(), length};
}

// Nothing answers a multicast: only here can a node that is not configured become an error.
std::vector<int> node_numbers(std::vector<Member_Word> &words) {
    const Picture picture = read_picture();
    std::vector<int> numbers;
    for (Member_Word &word : words) {
        word.number = static_cast<std::uint32_t>(find_node(word, picture));
        numbers.push_back(static_cast<int>(word.number));
    }
    return numbers;
}

Request_Result deliver(Multicast_Request &request, std::string &message) {
    const std::string purpose = "deliver a message of " + counted(message.size(), "byte");
    open_library();
    std::vector<int> nodes = node_numbers(request.nodes);
    const iovec buffer{message.data(), message.size()};
    require_request(
        hb_daemon_route_mcast(&buffer, 1, request.port, nodes.data(), static_cast<int>(nodes.size())), purpose);
    return result_without_answer(purpose);
}

} // namespace

int multicast(const Arguments &arguments) {
    Multicast_Request request = arguments.control.multicast;
    std::string message = request.text ? *request.text : standard_input();
    if (message.empty()) {
        throw std::runtime_error("cannot send an empty message: give it as an argument or on standard input");
    }
    const Request_Result result = ask_daemon(arguments, [&] { return deliver(request, message); });
    put_line(arguments.json ? multicast_json(request, message.size(), result)
                            : multicast_text(request, message.size(), result));
    return STATUS_SUCCESS;
}

} // namespace hbctl
