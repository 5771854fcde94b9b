#include "tools/hbctl/error_text.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace hbctl {
namespace {

struct Meaning {
    int number;
    const char *text;
};

// Ascending by number.
constexpr std::array meanings{
    Meaning{0, "no reason was given"},
    Meaning{1, "nothing more to list"},
    Meaning{2, "the time-out ended before anything arrived"},
    Meaning{3, "what was asked for is not there"},
    Meaning{4, "an argument is out of range or missing"},
    Meaning{5, "the group is of another type"},
    Meaning{6, "no route to the node is known"},
    Meaning{7, "the adapter or address is not in the configuration or not in the group"},
    Meaning{8, "the network is not configured"},
    Meaning{9, "the node is not configured"},
    Meaning{10, "the daemon sent something else than was expected, or a record that does not hold together"},
    Meaning{11, "the subscription group is empty or of another type"},
    Meaning{12, "waiting for or reading from the daemon failed"},
    Meaning{13, "the socket could not be made"},
    Meaning{14, "the size of the socket's buffer could not be set"},
    Meaning{
        15,
        "no daemon listens at the socket path, this user may not connect to it, or a signal ended the wait"},
    Meaning{16, "the daemon closed the connection"},
    Meaning{17, "out of memory"},
    Meaning{18, "sending failed: bad address"},
    Meaning{19, "sending failed: the socket is in state 6"},
    Meaning{20, "sending failed: the socket is in state 7"},
    Meaning{21, "sending failed: input/output error"},
    Meaning{22, "sending failed, or the library is not open"},
    Meaning{23, "reading the configuration failed: bad address"},
    Meaning{24, "reading the configuration failed: the socket is in state 10"},
    Meaning{25, "reading the configuration failed: the socket is in state 11"},
    Meaning{26, "reading the configuration failed: input/output error"},
    Meaning{27, "reading the configuration failed"},
    Meaning{28, "no key for the configuration segment"},
    Meaning{29, "no key for the route segment"},
    Meaning{30, "no key for the semaphores"},
    Meaning{31, "a shared segment may not be opened: permission denied"},
    Meaning{32, "a shared segment has another size than was expected"},
    Meaning{33, "a shared segment is absent"},
    Meaning{34, "a shared segment could not be found: out of memory"},
    Meaning{35, "a shared segment could not be found: a system limit is reached"},
    Meaning{36, "a shared segment could not be found"},
    Meaning{
        37,
        "a shared segment may not be attached: permission denied, or another user than the daemon's made it"},
    Meaning{38, "a shared segment could not be attached: invalid"},
    Meaning{39, "a shared segment could not be attached: it is absent"},
    Meaning{41, "a shared segment could not be attached: out of memory"},
    Meaning{42, "a shared segment could not be attached"},
    Meaning{43,
            "the semaphores may not be opened: permission denied, or another user than the daemon's made them"},
    Meaning{44, "the semaphore set has another size than was expected"},
    Meaning{45, "the semaphores are absent"},
    Meaning{46, "the semaphores could not be found: out of memory"},
    Meaning{47, "the semaphores could not be found: a system limit is reached"},
    Meaning{48, "the semaphores could not be found"},
    Meaning{49, "the route is not an IP route"},
    Meaning{50, "another adapter has the address"},
    Meaning{51, "the adapter cannot have such an address"},
    Meaning{52, "the time of grace is out of range"},
    Meaning{53, "the message is too large to be routed"},
    Meaning{54, "no key for the security segment"},
    Meaning{55, "no grace for an adapter that is down"},
    Meaning{56, "the adapter has grace already"},
    Meaning{58, "the request for a new group could not be read"},
    Meaning{59, "the cluster-event handlers could not be woken"},
    Meaning{63, "the cluster service did not answer (none is installed)"},
    Meaning{64, "the cluster service did not tell its nodes"},
    Meaning{65, "the cluster service did not tell its adapters"},
    Meaning{68, "a request for a new group is neither for nodes nor for adapters"},
    Meaning{70, "the cluster service gave a node's state that is neither up nor down"},
    Meaning{71, "an adapter's state or event is of an unexpected kind"},
    Meaning{72, "the wake-up of the event pipe is of an unexpected kind"},
    Meaning{73, "a node of one configuration is absent from the other"},
    Meaning{74, "the cluster-event handlers could not be created"},
    Meaning{75, "a node that the daemon reported is unknown to the cluster service"},
    Meaning{81, "no cluster-event handler owns any of the ready descriptors"},
    Meaning{82, "a cluster-event handler was unregistered more often than registered"},
    Meaning{84, "the site is not configured"},
    Meaning{86, "the cluster service did not report the local site"},
    Meaning{87, "the cluster service did not report the local node's identifier"},
    Meaning{88, "the cluster service did not report the merge policy of the sites"},
};

// Ascending by number. For requests that the daemon checks.
constexpr std::array request_meanings{
    Meaning{3, "the daemon does not permit this user to act: run as root or as a member of its act_group"},
    Meaning{4, "out of range, or not of this node"},
    Meaning{7, "the adapter is not configured, or no adapter of this node has the address"},
    Meaning{8, "the daemon could not do it, or does not permit this user to act"},
    Meaning{10, "the daemon sent something else than the answer"},
    Meaning{50, "another adapter has the address"},
    Meaning{51, "the adapter cannot have such an address"},
    Meaning{52, "the time is out of range"},
    Meaning{53, "the message is too large"},
    Meaning{55, "the adapter is down"},
    Meaning{56, "the adapter has grace already"},
};

template <typename Meanings> const Meaning *find(const Meanings &table, int number) {
    const auto found =
        std::lower_bound(table.begin(), table.end(), number,
                         [](const Meaning &meaning, int wanted) { return meaning.number < wanted; });
    return found != table.end() && found->number == number ? &*found : nullptr;
}

} // namespace

std::string error_text(int number) {
    const Meaning *meaning = find(meanings, number);
    return meaning != nullptr ? meaning->text : "no meaning is known for this number";
}

std::string request_error_text(int number) {
    const Meaning *meaning = find(request_meanings, number);
    return meaning != nullptr ? meaning->text : error_text(number);
}

} // namespace hbctl
