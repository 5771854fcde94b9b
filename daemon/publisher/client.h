// SPDX-License-Identifier: Apache-2.0
// One connected client: reads its requests and sends its packets.
//
// Nothing here waits for the client. Unread packets collect in its queue. A client with a full queue is
// disconnected, because a skipped event would go unnoticed.
#pragma once

#include <bitset>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>

#include "daemon/publisher/client_log.h"
#include "daemon/publisher/outbox.h"
#include "daemon/publisher/packets.h"
#include "daemon/publisher/record_reader.h"
#include "daemon/publisher/send_queue.h"
#include "daemon/publisher/subscription.h"
#include "daemon/publisher/user_quotas.h"
#include "host/peer.h"

namespace wispd {

class Client final : public std::enable_shared_from_this<Client>, public Sender {
  public:
    // `on_request` is called for each request. `on_disconnected` is called once, never from within another call
    // of the client. `on_user_full` must disconnect one of the user's clients, because the user's queue limit
    // is reached.
    struct Handlers {
        std::function<void(Client &, const Request &)> on_request;
        std::function<void(Client &)> on_user_full;
        std::function<void(Client &)> on_disconnected;
    };

    // The log, the quotas and the outbox must outlive the client.
    Client(asio::local::stream_protocol::socket socket, int id, std::size_t queue_limit, Client_Log &log,
           User_Quotas &quotas, Outbox &outbox, Handlers handlers);

    void start();

    // Replies carry no sequence number. Events are numbered 1, 2, 3, ... for each client.
    void send_reply(const Packet &packet, const Body &body);
    void send_event(Packet packet, const Body &body);
    // Writes what the socket accepts. The rest follows when the client has read.
    void send_queued() override;

    // Closes the connection and logs the reason.
    void disconnect(const std::string &why);
    // Logs unexpected behaviour of the client, a limited number of times.
    void complain(const std::string &what);
    // Logs another message about the client. The line begins with the client's title. `event` names what happened,
    // for readers of the journal.
    void note(const std::string &what, const char *event = "");
    void warn(const std::string &what, const char *event = "");
    void debug(const std::string &what, const char *event = "");
    // Returns true at the first call for this request code.
    bool is_first_refusal(int32_t kind);

    bool is_open() const { return socket_.is_open(); }
    int id() const { return id_; }
    const Peer &peer() const { return peer_; }
    const std::string &title() const { return title_; }
    Hb_Seq_Num last_sequence() const { return sequence_; }
    std::size_t queued_bytes() const { return queue_.bytes(); }
    void set_queue_limit(std::size_t limit) { queue_.set_limit(limit); }

    std::vector<Subscription> subscriptions;
    // The number in the client's last heartbeat.
    std::optional<uint32_t> heartbeat;
    // Generation of the configuration last sent to the client; 0: no configuration sent.
    Hb_Sequence_Number configuration_seen = 0;

  private:
    void wait_for_input();
    bool rests();
    void read_input();
    void wait_to_send();
    void send(const Packet &packet, const Body &body);
    bool make_room(std::size_t bytes);
    void account_for(std::size_t bytes);
    void close();
    void log(Log_Level level, const std::string &what, const char *event);

    asio::local::stream_protocol::socket socket_;
    asio::steady_timer rest_;
    int id_;
    Peer peer_;
    std::string title_;
    Client_Log &log_;
    User_Quotas &quotas_;
    Outbox &outbox_;
    Handlers handlers_;
    Record_Reader reader_;
    Send_Queue queue_;
    std::size_t accounted_ = 0; // bytes of the queue that are charged to the user
    bool is_in_outbox_ = false;
    bool waits_to_send_ = false;
    bool is_closing_ = false;
    Hb_Seq_Num sequence_ = 0;
    int complaints_ = 0;
    std::bitset<MONITOR_LAST_MESSAGE + 1> refused_;
};

// All connected clients, by connection number.
using Clients = std::map<int, std::shared_ptr<Client>>;

} // namespace wispd
