// SPDX-License-Identifier: Apache-2.0
#include "tests/cluster/serf_rpc.h"

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <msgpack.hpp>
#include <stdexcept>
#include <sys/socket.h>

namespace hb_test {
namespace {

constexpr uint64_t STREAM = 1;

using Fields = std::map<std::string, msgpack::object>;

Fields fields_of(const msgpack::object &object) {
    return object.as<Fields>();
}

const msgpack::object &field(const Fields &fields, const std::string &name) {
    const auto found = fields.find(name);
    if (found == fields.end()) {
        throw std::runtime_error("the agent's message has no field " + name);
    }
    return found->second;
}

// Four bytes, or sixteen; the last four of them if it is an IPv4 address in IPv6's form.
std::string address_text(const std::string &raw) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    const std::string mapped("\0\0\0\0\0\0\0\0\0\0\xff\xff", 12);
    if (raw.size() == 4 || (raw.size() == 16 && raw.starts_with(mapped))) {
        inet_ntop(AF_INET, raw.data() + raw.size() - 4, text.data(), text.size());
    } else if (raw.size() == 16) {
        inet_ntop(AF_INET6, raw.data(), text.data(), text.size());
    }
    return text.data();
}

Serf_Member member_of(const msgpack::object &object) {
    const Fields fields = fields_of(object);
    return {field(fields, "Name").as<std::string>(), address_text(field(fields, "Addr").as<std::string>()),
            field(fields, "Status").as<std::string>(),
            field(fields, "Tags").as<std::map<std::string, std::string>>()};
}

std::vector<Serf_Member> members_of(const msgpack::object &object) {
    std::vector<Serf_Member> members;
    for (const msgpack::object &member :
         field(fields_of(object), "Members").as<std::vector<msgpack::object>>()) {
        members.push_back(member_of(member));
    }
    return members;
}

} // namespace

Unique_Fd connect_to_serf(const std::string &address) {
    const std::size_t colon = address.rfind(':');
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_port = htons(static_cast<uint16_t>(std::stoul(address.substr(colon + 1))));
    if (inet_pton(AF_INET, address.substr(0, colon).c_str(), &where.sin_addr) != 1) {
        throw std::invalid_argument(address + " is no address");
    }
    Unique_Fd connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connection ||
        connect(connection.get(), reinterpret_cast<const sockaddr *>(&where), sizeof where) != 0) {
        return {};
    }
    return connection;
}

struct Serf_Rpc::Wire {
    Unique_Fd socket;
    msgpack::unpacker unpacker;
    uint64_t sequence = STREAM;
    std::deque<Serf_Event> events;

    void send(const std::string &bytes) const {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = ::send(socket.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count < 0 && errno != EINTR) {
                throw std::runtime_error("the agent has disconnected");
            }
            sent += count > 0 ? static_cast<std::size_t>(count) : 0;
        }
    }

    void send_header(msgpack::packer<msgpack::sbuffer> &packer, const std::string &command, uint64_t number) {
        packer.pack_map(2);
        packer.pack(std::string("Command"));
        packer.pack(command);
        packer.pack(std::string("Seq"));
        packer.pack(number);
    }

    // The next whole object; false at the deadline.
    bool receive(msgpack::object_handle &object, const Deadline &deadline) {
        while (!unpacker.next(object)) {
            if (!wait_readable(socket.get(), deadline)) {
                return false;
            }
            unpacker.reserve_buffer(65536);
            const ssize_t count = recv(socket.get(), unpacker.buffer(), unpacker.buffer_capacity(), 0);
            if (count == 0 || (count < 0 && errno != EINTR)) {
                throw std::runtime_error("the agent has disconnected");
            }
            unpacker.buffer_consumed(count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        return true;
    }

    msgpack::object_handle receive(const Deadline &deadline) {
        msgpack::object_handle object;
        if (!receive(object, deadline)) {
            throw std::runtime_error("the agent does not answer");
        }
        return object;
    }

    void take_event(const Deadline &deadline) {
        const msgpack::object_handle body = receive(deadline);
        const Fields fields = fields_of(body.get());
        events.push_back({field(fields, "Event").as<std::string>(), members_of(body.get())});
    }

    // Reads the answer's header. Events can arrive before it.
    void await_answer(uint64_t number, const Deadline &deadline) {
        for (;;) {
            const msgpack::object_handle header = receive(deadline);
            const Fields fields = fields_of(header.get());
            if (const std::string error = field(fields, "Error").as<std::string>(); !error.empty()) {
                throw std::runtime_error("the agent answers: " + error);
            }
            const auto answered = field(fields, "Seq").as<uint64_t>();
            if (answered == number) {
                return;
            }
            if (answered != STREAM) {
                throw std::runtime_error("the agent answers what was not asked");
            }
            take_event(deadline);
        }
    }

    void ask(const std::string &command, const std::map<std::string, std::string> &body, uint64_t number,
             const Deadline &deadline) {
        msgpack::sbuffer buffer;
        msgpack::packer<msgpack::sbuffer> packer(buffer);
        send_header(packer, command, number);
        if (!body.empty()) {
            packer.pack(body);
        }
        send({buffer.data(), buffer.size()});
        await_answer(number, deadline);
    }

    msgpack::object_handle query(const std::string &command, const Deadline &deadline) {
        ask(command, {}, ++sequence, deadline);
        return receive(deadline);
    }
};

Serf_Rpc::Serf_Rpc(Unique_Fd socket, const std::string &auth_key, const Deadline &deadline)
    : wire_(std::make_unique<Wire>()) {
    if (!socket) {
        throw std::runtime_error("no agent listens");
    }
    wire_->socket = std::move(socket);
    msgpack::sbuffer buffer;
    msgpack::packer<msgpack::sbuffer> packer(buffer);
    wire_->send_header(packer, "handshake", ++wire_->sequence);
    packer.pack(std::map<std::string, int>{{"Version", 1}});
    wire_->send({buffer.data(), buffer.size()});
    wire_->await_answer(wire_->sequence, deadline);
    if (!auth_key.empty()) {
        wire_->ask("auth", {{"AuthKey", auth_key}}, ++wire_->sequence, deadline);
    }
}

Serf_Rpc::~Serf_Rpc() = default;

int Serf_Rpc::descriptor() const {
    return wire_->socket.get();
}

std::vector<Serf_Member> Serf_Rpc::members(const Deadline &deadline) {
    const msgpack::object_handle body = wire_->query("members", deadline);
    return members_of(body.get());
}

std::map<std::string, std::string> Serf_Rpc::counts(const Deadline &deadline) {
    const msgpack::object_handle body = wire_->query("stats", deadline);
    return field(fields_of(body.get()), "serf").as<std::map<std::string, std::string>>();
}

// The answer has a body with a number, also when the join failed.
void Serf_Rpc::join(const std::vector<std::string> &addresses, const Deadline &deadline) {
    msgpack::sbuffer buffer;
    msgpack::packer<msgpack::sbuffer> packer(buffer);
    wire_->send_header(packer, "join", ++wire_->sequence);
    packer.pack_map(2);
    packer.pack(std::string("Existing"));
    packer.pack(addresses);
    packer.pack(std::string("Replay"));
    packer.pack(false);
    wire_->send({buffer.data(), buffer.size()});
    wire_->await_answer(wire_->sequence, deadline);
    wire_->receive(deadline);
}

void Serf_Rpc::stream(const Deadline &deadline) {
    wire_->ask("stream", {{"Type", "member-join,member-leave,member-failed,member-update,member-reap"}}, STREAM,
               deadline);
}

std::optional<Serf_Event> Serf_Rpc::next_event(const Deadline &deadline) {
    if (wire_->events.empty()) {
        msgpack::object_handle header;
        if (!wire_->receive(header, deadline)) {
            return std::nullopt;
        }
        wire_->take_event(Deadline());
    }
    Serf_Event event = std::move(wire_->events.front());
    wire_->events.pop_front();
    return event;
}

} // namespace hb_test
