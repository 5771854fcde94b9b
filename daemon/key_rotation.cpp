// SPDX-License-Identifier: Apache-2.0
#include "daemon/key_rotation.h"

#include <asio/io_context.hpp>

#include "cluster/cluster.h"
#include "host/log.h"
#include "host/text.h"

namespace wispd {

Key_Rotation::Key_Rotation(asio::io_context &context, Keyring &keyring, Shared_Segments &segments)
    : keyring_(keyring), segments_(segments), timer_(context) {
    segments_.publish_security(keyring_.content());
}

void Key_Rotation::rotate() {
    keyring_.rotate();
    segments_.publish_security(keyring_.content());
    log_info(text("new security key in use: generation ", keyring_.content().sequence_number, ", ",
                  keyring_.content().current_sec_status.keyCount, " keys authenticate"));
}

void Key_Rotation::begin() {
    if (!keyring_.is_enabled() || keyring_.settings().rotate_every.count() == 0) {
        return;
    }
    timer_.expires_after(keyring_.settings().rotate_every);
    timer_.async_wait([this](const asio::error_code &aborted) {
        if (aborted) {
            return;
        }
        try {
            rotate();
        } catch (const Refused &error) {
            log_error(text("security key not changed: ", error.what()));
        }
        begin();
    });
}

} // namespace wispd
