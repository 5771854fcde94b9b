// SPDX-License-Identifier: Apache-2.0
// The cluster service over an engine, used as the library uses it.
#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "providers/followed/followed_service.h"
#include "tests/support/unique_fd.h"
#include "tests/unit/wispd/log_fixture.h"

namespace hb_test {

// An event that was read and has not been released yet.
class Read_Event {
  public:
    Read_Event(int fd, int category) : result_(qz_orb_read_event(fd, category, &event_)) {}
    Read_Event(const Read_Event &) = delete;
    Read_Event &operator=(const Read_Event &) = delete;
    ~Read_Event() { release(); }

    int result() const { return result_; }
    const qz_orb_event_metadata_t &metadata() const { return event_; }
    // "down 3", "up 2 knet0", "reconfiguration"; the result if there is no event.
    std::string text() const;
    void release();

  private:
    qz_orb_event_metadata_t event_{};
    int result_;
};

// A test creates the service over its engine. If the engine uses members of a derived class, that class's destructor
// calls stop().
class Followed_Service_Test : public wispd_test::WispdLogged {
  protected:
    void stop() { service_.reset(); }

    static Unique_Fd open(const char *monitor);
    // Reads one event and releases it.
    static std::string read(const Unique_Fd &monitor, int category);
    static std::string read_node(const Unique_Fd &monitor) { return read(monitor, 0); }
    static std::string read_adapter(const Unique_Fd &monitor) { return read(monitor, 1); }
    static std::string read_peer(const Unique_Fd &monitor) { return read(monitor, 2); }
    static std::string read_reconfiguration(const Unique_Fd &monitor) { return read(monitor, 100); }
    static bool is_readable(const Unique_Fd &monitor);

    // "1 up, 2 down", or the result if there is no list.
    static std::string nodes();
    // "1 knet0 up, 1 knet1 down".
    static std::string interfaces();
    static int local_node(); // -1: no answer

    std::unique_ptr<mox_followed::Followed_Service> service_;
};

inline constexpr const char *NOTHING = "-16";

} // namespace hb_test
