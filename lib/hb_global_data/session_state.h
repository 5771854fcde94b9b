// SPDX-License-Identifier: Apache-2.0
// The state of the library's session. Every call that needs a session or a connection checks it here.
#pragma once

enum class Hb_Session_State {
    closed,    // no usable session; client_socket may hold what a failed opening left
    opening,   // a thread is opening the library, or making a connection for hb_init_communication
    half_open, // hb_init_communication made a connection; no configuration was requested on it
    open       // connection, segments and tables are complete and come from one daemon or service
};

extern int client_initialized; // 1 while open

Hb_Session_State hb_session_state();

// The caller holds the opening lock. A thread that reads the state `open` also sees everything that the caller
// wrote before it set that state.
void hb_set_session_state(Hb_Session_State state);

inline bool hb_is_open() {
    return hb_session_state() == Hb_Session_State::open;
}

// Records that hb_init_communication disabled an open session (true), or that hb_terminate closed it (false).
// A disabled session keeps its handlers, and the new connection, until hb_terminate.
void hb_put_session_out_of_use(bool is_out_of_use);

// Returns whether hb_terminate has anything to close: an open session or a disabled one.
bool hb_has_session_to_close();

// Sets the session to `opening` while the object lives. Afterwards the session is closed unless `reach` was
// called, so a cancelled attempt leaves it closed.
class Hb_Opening_Attempt {
  public:
    Hb_Opening_Attempt() { hb_set_session_state(Hb_Session_State::opening); }
    ~Hb_Opening_Attempt() { hb_set_session_state(reached_); }
    Hb_Opening_Attempt(const Hb_Opening_Attempt &) = delete;
    Hb_Opening_Attempt &operator=(const Hb_Opening_Attempt &) = delete;

    void reach(Hb_Session_State state) { reached_ = state; }

  private:
    Hb_Session_State reached_ = Hb_Session_State::closed;
};
