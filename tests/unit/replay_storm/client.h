// The library as a program uses it: public calls alone.
#ifndef HB_TEST_REPLAY_STORM_CLIENT_H
#define HB_TEST_REPLAY_STORM_CLIENT_H

#include <memory>
#include <string>
#include <vector>

#include "hb_client.h"
#include "tests/unit/replay_storm/replay.h"

namespace hb_test::replay_storm {

// What one call of hb_get_event_message gave.
struct Taken {
    Hb_Rc result = Hb_Failure;
    int error = 0;
    std::string name;
    Delivered event;

    bool is_nothing() const { return result == Hb_Success && event.events == 0 && name == "untouched"; }
};
std::string text_of(const Taken &taken);

class Client {
  public:
    Client() = default;
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client() { hb_terminate(); }

    // To all nodes and to all adapters.
    void subscribe();
    // Those to read from now.
    std::vector<int> ready() const;
    // From one of them.
    Taken read(int descriptor);
    // By the queries. Throws Violation where they contradict each other.
    Configuration configuration() const;

  private:
    void take_nodes(Delivered &event);
    void take_adapters(Delivered &event);

    std::unique_ptr<Hb_Group> group_ = std::make_unique<Hb_Group>();
    std::unique_ptr<Hb_Subscription_Group> wanted_ = std::make_unique<Hb_Subscription_Group>();
};

} // namespace hb_test::replay_storm

#endif
