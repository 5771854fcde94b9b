// Where the library's session stands. Every call that needs a session or a connection asks here.
#ifndef HB_SESSION_STATE_H
#define HB_SESSION_STATE_H

enum class Hb_Session_State {
    closed,    // no usable session; what a failed opening left in client_socket is no connection
    opening,   // a thread opens the library, or makes a connection for hb_init_communication
    half_open, // hb_init_communication made a connection, and no configuration was asked for on it
    open       // connection, segments and tables belong together
};

extern int client_initialized; // 1 while open

Hb_Session_State hb_session_state();

// For the thread that holds the opening lock. What that thread did before is seen by those that then find the
// session open.
void hb_set_session_state(Hb_Session_State state);

inline bool hb_is_open() {
    return hb_session_state() == Hb_Session_State::open;
}

// hb_init_communication puts an open session out of use. Its handlers, and the connection that replaced its own, stay
// until the session is terminated.
void hb_put_session_out_of_use(bool is_out_of_use);

// Whether hb_terminate has something to close: an open session, or one out of use.
bool hb_has_session_to_close();

// The session is `opening` for as long as the object lives, and has the state that it reached afterwards: closed,
// unless `reach` was called. So a cancelled attempt leaves it closed.
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

#endif
