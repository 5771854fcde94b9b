// A daemon inside the test's own process: it listens on a UNIX socket, publishes segments and semaphores,
// and does to its client what a script tells it: answer, hold back, trickle, lie, die.
#ifndef HB_TEST_FAKE_DAEMON_H
#define HB_TEST_FAKE_DAEMON_H

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

// One thing that the daemon does with the connection it has. Steps are done one after another.
struct Step {
    enum class Kind {
        read_record,  // reads a length and that many bytes
        send,         // puts the bytes on the wire as they are
        trickle,      // the same, each byte only when the client has taken the one before
        wait_taken,   // waits until the client has taken everything sent
        wait_told,    // waits for tell()
        wait_for,     // waits for the condition
        stop_reading, // from now on nothing is read between the steps
        start_reading,
        hang_up // closes the connection
    };
    Kind kind;
    Bytes bytes;
    std::function<bool()> condition;
};
using Script = std::vector<Step>;

Step read_record();
Step send_raw(const Bytes &bytes);     // no length is added
Step send_record(const Bytes &record); // behind its length
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

struct FakeDaemonPlan {
    // What is done first on the first connection, the second and so on; the last entry stands for all later ones.
    std::vector<Script> connections = {serve_configuration(snapshot(small_cluster()))};
    SegmentsPlan segments = segments_for(8, 5);
    std::string socket_name = "s"; // the file's name in the directory
    bool set_environment = true;   // point HB_SERVER_SOCKET here and clear the two suffix variables
};

class FakeDaemon {
  public:
    explicit FakeDaemon(const FakeDaemonPlan &plan = {});
    FakeDaemon(const FakeDaemon &) = delete;
    FakeDaemon &operator=(const FakeDaemon &) = delete;
    ~FakeDaemon();

    const std::string &path() const { return path_; }
    const std::string &directory() const { return directory_.path(); }
    DaemonSegments &segments() { return *segments_; }

    // Adds steps for the connection that is there, or the next one when there is none; those that are left when
    // a connection ends are dropped. Between and after the steps everything that the client sends is read.
    void run(const Script &steps);
    void run(const Step &step) { run(Script{step}); }
    // Lets one wait_told pass.
    void tell();
    // Nobody can connect any more; what wait_connections has seen stays.
    void stop_listening();

    // All these wait, and are false (or short) at the deadline.
    bool wait_steps_done();
    bool wait_connections(int count);       // so many have been made
    bool wait_connections_ended(int count); // so many are over
    Bytes wait_received(std::size_t count); // on all connections together; all that came

    int connections() const;
    Bytes received() const; // every byte so far, on all connections together
    // What was received, cut into records; the lengths are taken off.
    std::vector<Bytes> received_records() const;
    // Gives the memory of what was received back, for tests that count memory.
    void forget_received();
    // Steps that could not be done, because the client went away first.
    std::vector<std::string> troubles() const;

  private:
    void listen_at(const FakeDaemonPlan &plan);
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

    FakeDaemonPlan plan_;
    TempDir directory_;
    std::string path_;
    std::vector<std::string> filler_files_;
    UniqueFd listener_;
    UniqueFd wake_;
    UniqueFd connection_;
    std::unique_ptr<DaemonSegments> segments_;
    std::vector<std::unique_ptr<EnvironmentGuard>> environment_;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Step> queue_;
    bool busy_ = false; // the script of a connection, or a step, is under way
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

#endif
