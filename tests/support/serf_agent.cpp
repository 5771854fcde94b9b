// SPDX-License-Identifier: Apache-2.0
#include "tests/support/serf_agent.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <functional>
#include <future>
#include <msgpack.hpp>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>

#include <asio.hpp>

namespace hb_test {
namespace {

using asio::ip::tcp;

// Runs the agents of this process; ends with the last of them.
class Agent_Thread {
  public:
    static std::shared_ptr<Agent_Thread> shared() {
        static std::mutex mutex;
        static std::weak_ptr<Agent_Thread> running;
        const std::lock_guard lock(mutex);
        std::shared_ptr<Agent_Thread> thread = running.lock();
        if (!thread) {
            thread = std::make_shared<Agent_Thread>();
            running = thread;
        }
        return thread;
    }

    Agent_Thread() : work_(context_.get_executor()), thread_([this] { context_.run(); }) {}
    Agent_Thread(const Agent_Thread &) = delete;
    Agent_Thread &operator=(const Agent_Thread &) = delete;
    ~Agent_Thread() {
        work_.reset();
        context_.stop();
        thread_.join();
    }

    asio::io_context &context() { return context_; }

    // Does it in the thread, and returns its result.
    template <typename Work> auto run(Work work) {
        std::packaged_task<decltype(work())()> task(std::move(work));
        auto result = task.get_future();
        asio::post(context_, [&task] { task(); });
        return result.get();
    }

  private:
    asio::io_context context_;
    asio::executor_work_guard<asio::io_context::executor_type> work_;
    std::thread thread_;
};

class Writer {
  public:
    Writer &map(unsigned count) { return packer_.pack_map(count), *this; }
    Writer &list(std::size_t count) { return packer_.pack_array(static_cast<uint32_t>(count)), *this; }
    Writer &number(uint64_t value) { return packer_.pack(value), *this; }
    Writer &text(const std::string &text) { return packer_.pack(text), *this; }
    Writer &pair(const std::string &key, const std::string &value) { return this->text(key).text(value); }
    Writer &pair(const std::string &key, uint64_t value) { return text(key).number(value); }
    std::string bytes() const { return {buffer_.data(), buffer_.size()}; }

  private:
    msgpack::sbuffer buffer_;
    msgpack::packer<msgpack::sbuffer> packer_{buffer_};
};

std::string address_bytes(const std::string &address) {
    if (address.empty()) {
        return {};
    }
    const asio::ip::address parsed = asio::ip::make_address(address);
    if (parsed.is_v4()) {
        const auto bytes = parsed.to_v4().to_bytes();
        return {bytes.begin(), bytes.end()};
    }
    const auto bytes = parsed.to_v6().to_bytes();
    return {bytes.begin(), bytes.end()};
}

void write_members(Writer &to, const std::vector<Simulated_Member> &members) {
    to.list(members.size());
    for (const Simulated_Member &member : members) {
        to.map(11).pair("Name", member.name).pair("Addr", address_bytes(member.address)).pair("Port", 7946);
        to.text("Tags").map(static_cast<unsigned>(member.tags.size()));
        for (const auto &[tag, value] : member.tags) {
            to.pair(tag, value);
        }
        to.pair("Status", member.status).pair("ProtocolMin", 1).pair("ProtocolMax", 5).pair("ProtocolCur", 2);
        to.pair("DelegateMin", 2).pair("DelegateMax", 5).pair("DelegateCur", 4);
    }
}

std::string event_bytes(const std::string &event, const std::vector<Simulated_Member> &members) {
    Writer body;
    body.map(2).pair("Event", event).text("Members");
    write_members(body, members);
    return body.bytes();
}

std::string header_bytes(uint64_t number, const std::string &error) {
    return Writer().map(2).pair("Seq", number).pair("Error", error).bytes();
}

std::string text_in(const msgpack::object &map, const std::string &key) {
    for (uint32_t i = 0; i < map.via.map.size; ++i) {
        if (map.via.map.ptr[i].key.as<std::string>() == key) {
            return map.via.map.ptr[i].val.as<std::string>();
        }
    }
    return {};
}

uint64_t number_in(const msgpack::object &map, const std::string &key) {
    for (uint32_t i = 0; i < map.via.map.size; ++i) {
        if (map.via.map.ptr[i].key.as<std::string>() == key) {
            return map.via.map.ptr[i].val.as<uint64_t>();
        }
    }
    return 0;
}

// A program that the test starts must not keep the socket open.
void close_on_exec(int descriptor) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

struct Request {
    std::string command;
    uint64_t number = 0;
    std::string auth_key;
};

struct Link {
    explicit Link(tcp::socket accepted) : socket(std::move(accepted)), pause(socket.get_executor()) {}

    tcp::socket socket;
    asio::steady_timer pause;
    std::array<char, 4096> incoming{};
    msgpack::unpacker unpacker;
    std::optional<Request> without_body; // its body has not arrived
    std::vector<Request> unanswered;
    std::string outgoing;
    std::string in_transit;
    bool shook_hands = false;
    bool authorised = false;
    bool closes_after = false; // what is outgoing
    std::optional<uint64_t> stream;
};

using Link_Ptr = std::shared_ptr<Link>;

bool has_body(const std::string &command) {
    return command == "handshake" || command == "auth" || command == "stream";
}

const std::map<std::string, std::string> &status_after() {
    static const std::map<std::string, std::string> statuses = {
        {"member-join", "alive"}, {"member-leave", "left"}, {"member-failed", "failed"}};
    return statuses;
}

} // namespace

class Serf_Agent::Impl : public std::enable_shared_from_this<Serf_Agent::Impl> {
  public:
    Impl(const Serf_Agent_Plan &plan, Agent_Thread &thread) : plan_(plan), thread_(thread) {}

    Agent_Thread &thread() { return thread_; }

    void open() {
        tcp::acceptor &acceptor = acceptor_.emplace(thread_.context());
        const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), plan_.port);
        acceptor.open(endpoint.protocol());
        close_on_exec(acceptor.native_handle());
        acceptor.set_option(tcp::acceptor::reuse_address(true));
        acceptor.bind(endpoint);
        acceptor.listen();
        plan_.port = acceptor.local_endpoint().port();
        accept_next();
    }

    void close() {
        acceptor_.reset();
        disconnect();
    }

    void disconnect() {
        for (const Link_Ptr &link : std::set<Link_Ptr>(links_)) {
            end(link);
        }
    }

    void send_event(const std::string &event, const std::vector<Simulated_Member> &members) {
        const std::string body = event_bytes(event, members);
        for (const Link_Ptr &link : std::set<Link_Ptr>(links_)) {
            if (link->stream) {
                deliver(link, "event", header_bytes(*link->stream, "") + body);
            }
        }
    }

    void put(const std::vector<Simulated_Member> &members) {
        for (const Simulated_Member &member : members) {
            const auto known = find(member.name);
            if (known == plan_.members.end()) {
                plan_.members.push_back(member);
            } else {
                *known = member;
            }
        }
    }

    void change(const std::string &event, const std::vector<std::string> &names) {
        std::vector<Simulated_Member> changed;
        for (const std::string &name : names) {
            auto member = find(name);
            if (member == plan_.members.end()) {
                member = plan_.members.insert(member, {.name = name});
            }
            const auto status = status_after().find(event);
            member->status = status == status_after().end() ? member->status : status->second;
            changed.push_back(*member);
            if (event == "member-reap") {
                plan_.members.erase(member);
            }
        }
        send_event(event, changed);
    }

    void answer_all() {
        for (const Link_Ptr &link : std::set<Link_Ptr>(links_)) {
            answer_open_requests(link);
        }
    }

    void send_bytes(const std::string &bytes) {
        for (const Link_Ptr &link : std::set<Link_Ptr>(links_)) {
            send(link, bytes);
        }
    }

    void flood(bool enabled) {
        floods_ = enabled;
        for (const Link_Ptr &link : std::set<Link_Ptr>(links_)) {
            send(link, {});
        }
    }

    unsigned streams() const {
        return static_cast<unsigned>(std::count_if(
            links_.begin(), links_.end(), [](const Link_Ptr &link) { return link->stream.has_value(); }));
    }

    Serf_Agent_Plan plan_;
    bool answers_ = true;
    std::chrono::microseconds pause_{0};
    std::map<std::string, std::size_t> cuts_;
    std::map<std::string, uint64_t> numbers_;
    std::map<std::string, std::string> rejections_;
    unsigned connections_ = 0;
    std::map<std::string, unsigned> requests_;
    std::set<Link_Ptr> links_;

  private:
    std::vector<Simulated_Member>::iterator find(const std::string &name) {
        return std::find_if(plan_.members.begin(), plan_.members.end(),
                            [&](const Simulated_Member &member) { return member.name == name; });
    }

    void accept_next() {
        acceptor_->async_accept([self = shared_from_this()](const asio::error_code &error, tcp::socket socket) {
            if (error || !self->acceptor_) {
                return;
            }
            close_on_exec(socket.native_handle());
            socket.set_option(tcp::no_delay(true));
            ++self->connections_;
            const auto link = std::make_shared<Link>(std::move(socket));
            self->links_.insert(link);
            self->read(link);
            self->accept_next();
        });
    }

    void end(const Link_Ptr &link) {
        links_.erase(link);
        asio::error_code ignored;
        // A program that the test starts at this moment can have a copy of the descriptor.
        link->socket.shutdown(tcp::socket::shutdown_both, ignored);
        link->socket.close(ignored);
        link->pause.cancel();
    }

    void read(const Link_Ptr &link) {
        link->socket.async_read_some(
            asio::buffer(link->incoming),
            [self = shared_from_this(), link](const asio::error_code &error, std::size_t count) {
                if (error) {
                    self->end(link);
                    return;
                }
                try {
                    self->parse(link, count);
                } catch (const std::exception &) { // not from a client of the protocol
                    self->end(link);
                    return;
                }
                self->answer_open_requests(link);
                self->read(link);
            });
    }

    void parse(const Link_Ptr &link, std::size_t count) {
        link->unpacker.reserve_buffer(count);
        std::copy_n(link->incoming.data(), count, link->unpacker.buffer());
        link->unpacker.buffer_consumed(count);
        msgpack::object_handle object;
        while (link->unpacker.next(object)) {
            on_map(link, object.get());
        }
    }

    void on_map(const Link_Ptr &link, const msgpack::object &map) {
        if (link->without_body) {
            link->without_body->auth_key = text_in(map, "AuthKey");
            link->unanswered.push_back(*std::exchange(link->without_body, std::nullopt));
            return;
        }
        const Request request{text_in(map, "Command"), number_in(map, "Seq"), {}};
        ++requests_[request.command];
        if (has_body(request.command)) {
            link->without_body = request;
        } else {
            link->unanswered.push_back(request);
        }
    }

    void answer_open_requests(const Link_Ptr &link) {
        if (!answers_) {
            return;
        }
        for (const Request &request : std::exchange(link->unanswered, {})) {
            answer(link, request);
        }
    }

    std::string error_for(const Link_Ptr &link, const Request &request) {
        const auto rejection = rejections_.find(request.command);
        if (rejection != rejections_.end() && !rejection->second.empty()) {
            return rejection->second;
        }
        if (request.command == "handshake") {
            link->shook_hands = true;
            return {};
        }
        if (!link->shook_hands) {
            return "Handshake required";
        }
        if (request.command == "auth") {
            link->authorised = request.auth_key == plan_.auth_key;
            return link->authorised ? "" : "Invalid authentication token";
        }
        if (!link->authorised && !plan_.auth_key.empty()) {
            return "Authentication required";
        }
        const std::set<std::string> known = {"members", "stats", "stream"};
        link->closes_after = !known.contains(request.command);
        return link->closes_after ? "Unsupported command" : "";
    }

    void answer(const Link_Ptr &link, const Request &request) {
        const std::string error = error_for(link, request);
        const auto number = numbers_.find(request.command);
        std::string bytes = header_bytes(number == numbers_.end() ? request.number : number->second, error);
        if (error.empty() && request.command == "members") {
            Writer body;
            body.map(1).text("Members");
            write_members(body, plan_.members);
            bytes += body.bytes();
        }
        if (error.empty() && request.command == "stats") {
            bytes += stats_bytes();
        }
        if (error.empty() && request.command == "stream") {
            link->stream = request.number;
        }
        deliver(link, request.command, bytes);
    }

    std::string stats_bytes() const {
        const auto count = [&](const char *status) {
            return std::to_string(
                std::count_if(plan_.members.begin(), plan_.members.end(),
                              [&](const Simulated_Member &it) { return it.status == status; }));
        };
        Writer body;
        body.map(5).text("agent").map(1).pair("name", plan_.name);
        body.text("event_handlers").map(0);
        body.text("runtime").map(2).pair("os", "linux").pair("arch", "amd64");
        body.text("serf").map(4).pair("failed", count("failed")).pair("left", count("left"));
        body.pair("member_time", "12").pair("members", std::to_string(plan_.members.size()));
        body.text("tags").map(0);
        return body.bytes();
    }

    void deliver(const Link_Ptr &link, const std::string &command, const std::string &bytes) {
        const auto cut = cuts_.find(command);
        link->closes_after = link->closes_after || cut != cuts_.end();
        send(link, cut == cuts_.end() ? bytes : bytes.substr(0, cut->second));
    }

    void send(const Link_Ptr &link, const std::string &bytes) {
        link->outgoing += bytes;
        send_next(link);
    }

    void send_next(const Link_Ptr &link) {
        if (!link->in_transit.empty()) {
            return;
        }
        if (link->outgoing.empty() && floods_ && link->stream) {
            for (int i = 0; i < 1000; ++i) {
                link->outgoing += header_bytes(*link->stream, "") +
                                  Writer().map(2).pair("Event", "user").pair("Payload", "flood").bytes();
            }
        }
        if (link->outgoing.empty()) {
            if (link->closes_after) {
                end(link);
            }
            return;
        }
        const std::size_t count = pause_.count() > 0 ? 1 : link->outgoing.size();
        link->in_transit = link->outgoing.substr(0, count);
        link->outgoing.erase(0, count);
        asio::async_write(link->socket, asio::buffer(link->in_transit),
                          [self = shared_from_this(), link](const asio::error_code &error, std::size_t) {
                              if (error) {
                                  self->end(link);
                                  return;
                              }
                              self->rest(link);
                          });
    }

    void rest(const Link_Ptr &link) {
        if (pause_.count() == 0) {
            link->in_transit.clear();
            send_next(link);
            return;
        }
        link->pause.expires_after(pause_);
        link->pause.async_wait([self = shared_from_this(), link](const asio::error_code &error) {
            if (!error) {
                link->in_transit.clear();
                self->send_next(link);
            }
        });
    }

    Agent_Thread &thread_;
    std::optional<tcp::acceptor> acceptor_;
    bool floods_ = false;
};

std::vector<Simulated_Member> simulated_members(int count, int network) {
    std::vector<Simulated_Member> members;
    for (int i = 1; i <= count; ++i) {
        const std::string number = std::to_string(i);
        members.push_back({.name = "n" + number,
                           .address = "10." + std::to_string(network) + "." + std::to_string(i / 256) + "." +
                                      std::to_string(i % 256),
                           .tags = {{"hb_node", number}}});
    }
    return members;
}

Serf_Agent::Serf_Agent(const Serf_Agent_Plan &plan) {
    const std::shared_ptr<Agent_Thread> thread = Agent_Thread::shared();
    thread_ = thread;
    impl_ = std::make_shared<Impl>(plan, *thread);
    impl_->thread().run([&] { impl_->open(); });
}

Serf_Agent::~Serf_Agent() {
    impl_->thread().run([&] { impl_->close(); });
}

uint16_t Serf_Agent::port() const {
    return impl_->thread().run([&] { return impl_->plan_.port; });
}

std::string Serf_Agent::address() const {
    return "127.0.0.1:" + std::to_string(port());
}

void Serf_Agent::set_members(const std::vector<Simulated_Member> &members) {
    impl_->thread().run([&] { impl_->plan_.members = members; });
}

void Serf_Agent::send_event(const std::string &event, const std::vector<Simulated_Member> &members) {
    impl_->thread().run([&] { impl_->send_event(event, members); });
}

void Serf_Agent::change(const std::string &event, const std::vector<std::string> &names) {
    impl_->thread().run([&] { impl_->change(event, names); });
}

void Serf_Agent::put(const std::string &event, const std::vector<Simulated_Member> &members) {
    impl_->thread().run([&] {
        impl_->put(members);
        impl_->send_event(event, members);
    });
}

void Serf_Agent::disconnect() {
    impl_->thread().run([&] { impl_->disconnect(); });
}

void Serf_Agent::refuse() {
    impl_->thread().run([&] { impl_->close(); });
}

void Serf_Agent::accept() {
    impl_->thread().run([&] { impl_->open(); });
}

void Serf_Agent::stop_answering() {
    impl_->thread().run([&] { impl_->answers_ = false; });
}

void Serf_Agent::continue_answering() {
    impl_->thread().run([&] {
        impl_->answers_ = true;
        impl_->answer_all();
    });
}

void Serf_Agent::send_bytes(const std::string &bytes) {
    impl_->thread().run([&] { impl_->send_bytes(bytes); });
}

void Serf_Agent::cut(const std::string &command, std::size_t bytes) {
    impl_->thread().run([&] { impl_->cuts_[command] = bytes; });
}

void Serf_Agent::trickle(std::chrono::microseconds pause) {
    impl_->thread().run([&] { impl_->pause_ = pause; });
}

void Serf_Agent::flood(bool enabled) {
    impl_->thread().run([&] { impl_->flood(enabled); });
}

void Serf_Agent::answer_with_number(const std::string &command, uint64_t number) {
    impl_->thread().run([&] { impl_->numbers_[command] = number; });
}

void Serf_Agent::reject(const std::string &command, const std::string &error) {
    impl_->thread().run([&] { impl_->rejections_[command] = error; });
}

unsigned Serf_Agent::connections() const {
    return impl_->thread().run([&] { return impl_->connections_; });
}

unsigned Serf_Agent::open_connections() const {
    return impl_->thread().run([&] { return static_cast<unsigned>(impl_->links_.size()); });
}

unsigned Serf_Agent::streams() const {
    return impl_->thread().run([&] { return impl_->streams(); });
}

unsigned Serf_Agent::requests(const std::string &command) const {
    return impl_->thread().run([&] { return impl_->requests_[command]; });
}

} // namespace hb_test
