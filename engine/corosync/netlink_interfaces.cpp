// SPDX-License-Identifier: Apache-2.0
#include "engine/corosync/netlink_interfaces.h"

#include <cerrno>
#include <linux/if.h>
#include <memory>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <system_error>

#include <netlink/cache.h>
#include <netlink/errno.h>
#include <netlink/netlink.h>
#include <netlink/route/addr.h>
#include <netlink/route/link.h>

#include "cluster/address.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {
namespace {

constexpr std::size_t ADDRESS_TEXT_LONGEST = 128;

std::optional<Hb_IP_address6> address_of(rtnl_addr *entry) {
    nl_addr *const local = rtnl_addr_get_local(entry);
    if (local == nullptr) {
        return std::nullopt;
    }
    char buffer[ADDRESS_TEXT_LONGEST] = "";
    const std::string with_prefix = nl_addr2str(local, buffer, sizeof buffer);
    return parse_address(with_prefix.substr(0, with_prefix.find('/')));
}

class Netlink_Interfaces final : public Local_Interfaces {
  public:
    Netlink_Interfaces() {
        nl_cache_mngr *manager = nullptr;
        require(nl_cache_mngr_alloc(nullptr, NETLINK_ROUTE, NL_AUTO_PROVIDE, &manager), "cannot open netlink");
        manager_.reset(manager);
        require(nl_cache_mngr_add(manager, "route/link", nullptr, nullptr, &links_),
                "cannot read the network interfaces");
        require(nl_cache_mngr_add(manager, "route/addr", nullptr, nullptr, &addresses_),
                "cannot read the interface addresses");
    }

    int descriptor() const override { return nl_cache_mngr_get_fd(manager_.get()); }

    // Reads everything again after an error: notifications that the kernel could not queue are lost.
    void dispatch() override {
        const int result = nl_cache_mngr_data_ready(manager_.get());
        if (result < 0 && result != -NLE_AGAIN) {
            log_warning(
                text("network interfaces: netlink reported ", nl_geterror(result), "; reading them again"));
            reread();
        }
    }

    bool carries(const Hb_IP_address6 &address) const override {
        for (nl_object *object = nl_cache_get_first(addresses_); object != nullptr;
             object = nl_cache_get_next(object)) {
            auto *const entry = reinterpret_cast<rtnl_addr *>(object);
            const std::optional<Hb_IP_address6> held = address_of(entry);
            if (held && same_address(*held, address) && works(rtnl_addr_get_ifindex(entry))) {
                return true;
            }
        }
        return false;
    }

  private:
    static void require(int result, const char *what) {
        if (result < 0) {
            throw std::system_error(EIO, std::generic_category(), text(what, ": ", nl_geterror(result)));
        }
    }

    // The cache repeats an interface for each protocol family that reported it, as IPv6 does when a carrier
    // returns. Only the entry without a family receives later changes.
    bool works(int index) const {
        constexpr unsigned needed = IFF_UP | IFF_LOWER_UP;
        for (nl_object *object = nl_cache_get_first(links_); object != nullptr;
             object = nl_cache_get_next(object)) {
            auto *const link = reinterpret_cast<rtnl_link *>(object);
            if (rtnl_link_get_ifindex(link) == index && rtnl_link_get_family(link) == AF_UNSPEC) {
                return (rtnl_link_get_flags(link) & needed) == needed;
            }
        }
        return false;
    }

    void reread() {
        nl_sock *const socket = nl_socket_alloc();
        if (socket != nullptr && nl_connect(socket, NETLINK_ROUTE) == 0) {
            nl_cache_refill(socket, links_);
            nl_cache_refill(socket, addresses_);
        }
        nl_socket_free(socket);
    }

    struct Free {
        void operator()(nl_cache_mngr *manager) const { nl_cache_mngr_free(manager); }
    };
    std::unique_ptr<nl_cache_mngr, Free> manager_;
    nl_cache *links_ = nullptr; // manager_ owns this cache and the next one
    nl_cache *addresses_ = nullptr;
};

} // namespace

std::unique_ptr<Local_Interfaces> watch_interfaces() {
    return std::make_unique<Netlink_Interfaces>();
}

} // namespace wispd
