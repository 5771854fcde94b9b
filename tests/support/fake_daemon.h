// SPDX-License-Identifier: Apache-2.0
// A daemon inside the test's own process. It listens on a UNIX socket and publishes segments and semaphores. A
// script decides how it treats its client: it answers, delays, trickles, sends wrong data or disconnects.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/bytes.h"
#include "tests/support/daemon_segments.h"
#include "tests/support/environment_guard.h"
#include "tests/support/records.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unique_fd.h"

namespace hb_test {

// One action of the daemon on its current connection. Steps run one after another.
struct Step {
    enum class Kind {
        read_record,  // reads a length and that many bytes
        send,         // sends the bytes unchanged
        trickle,      // sends each byte only after the client has read the previous one
        wait_taken,   // waits until the client has read everything sent
        wait_told,    // waits for tell()
        wait_for,     // waits for the condition
        stop_reading, // reads nothing between the steps from now on
        start_reading,
        hang_up // closes the connection
    };
    Kind kind;
    Bytes bytes;
    std::function<bool()> condition;
};
using Script = std::vector<Step>;

Step read_record();
Step send_raw(const Bytes &bytes);     // without adding a length
Step send_record(const Bytes &record); // preceded by its length
Step trickle_record(const Bytes &record);
Step trickle_raw(const Bytes &bytes);
Step wait_taken();
Step wait_told();
Step wait_for(std::function<bool()> condition);
Step stop_reading();
Step start_reading();
Step hang_up();

// Reads the configuration request and answers with the snapshot.
Script serve_configuration(const Bytes &snapshot_body);

struct Fake_Daemon_Plan {
    // The first steps on the first connection, on the second and so on. The last entry also serves all later
    // ones.
    std::vector<Script> connections = {serve_configuration(snapshot(small_cluster()))};
    Segments_Plan segments = segments_for(8, 5);
    std::string socket_name = "s"; // the file's name in the directory
    bool set_environment = true;   // point HB_SERVER_SOCKET here and clear the two suffix variables
};

class Fake_Daemon {
  public:
    explicit Fake_Daemon(const Fake_Daemon_Plan &plan = {});
    Fake_Daemon(const Fake_Daemon &) = delete;
    Fake_Daemon &operator=(const Fake_Daemon &) = delete;
    ~Fake_Daemon();

    const std::string &path() const { return path_; }
    const std::string &directory() const { return directory_.path(); }
    Daemon_Segments &segments() { return *segments_; }

    // Adds steps for the current connection, or for the next one if there is none. Steps that are left when a
    // connection ends are dropped. Between and after the steps the daemon reads everything that the client
    // sends.
    void run(const Script &steps);
    void run(const Step &step) { run(Script{step}); }
    // Ends one wait_told.
    void tell();
    // Rejects new connections; the connections counted by wait_connections stay.
    void stop_listening();

    // Each of these waits; at the deadline it returns false, or fewer bytes.
    bool wait_steps_done();
    bool wait_connections(int count);       // this many were made
    bool wait_connections_ended(int count); // this many have ended
    Bytes wait_received(std::size_t count); // returns all bytes, of all connections together

    int connections() const;
    Bytes received() const; // all bytes so far, of all connections together
    // The received bytes, split into records without their lengths.
    std::vector<Bytes> received_records() const;
    // Frees the memory of the received bytes, for tests that measure memory.
    void forget_received();
    // Steps that failed because the client disconnected first.
    std::vector<std::string> troubles() const;

  private:
    void listen_at(const Fake_Daemon_Plan &plan);
    void set_environment();
    void serve();
    void serve_connection(const Script &first);
    bool do_step(const Step &step);
    bool read_some(std::size_t at_most, Bytes &into);
    bool read_one_record();
    bool send_all(const unsigned char *bytes, std::size_t count);
    bool trickle(const Bytes &bytes);
    bool wait_all_taken();
    bool client_ready(short events);
    bool poll_condition(const std::function<bool()> &condition);
    std::optional<Step> next_step();
    bool stopping() const;
    bool wait_state(const std::function<bool()> &condition);
    void wake();
    void clear_wake();

    Fake_Daemon_Plan plan_;
    Temp_Dir directory_;
    std::string path_;
    std::vector<std::string> filler_files_;
    Unique_Fd listener_;
    Unique_Fd wake_;
    Unique_Fd connection_;
    std::unique_ptr<Daemon_Segments> segments_;
    std::vector<std::unique_ptr<Environment_Guard>> environment_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Step> queue_;
    bool busy_ = false; // a connection's script, or a step, is running
    bool reading_ = true;
    bool stopping_ = false;
    bool listening_ = true;
    int told_ = 0;
    int connections_ = 0;
    int ended_ = 0;
    Bytes received_;
    std::vector<std::string> troubles_;

    std::thread thread_;
};

} // namespace hb_test
