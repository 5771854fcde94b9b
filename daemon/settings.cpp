// SPDX-License-Identifier: Apache-2.0
#include "daemon/settings.h"

namespace wispd {

namespace {

template <typename T> void set_if_given(T &setting, const std::optional<T> &written) {
    if (written) {
        setting = *written;
    }
}

User_Limits limits_of(const Daemon_Section &section) {
    User_Limits limits;
    set_if_given(limits.all_connections, section.max_connections);
    set_if_given(limits.connections, section.user_connections);
    set_if_given(limits.subscriptions, section.user_subscriptions);
    set_if_given(limits.queue_bytes, section.user_queue_bytes);
    return limits;
}

} // namespace

Daemon_Settings settings_of(const Daemon_Section &section) {
    Daemon_Settings settings;
    set_if_given(settings.socket, section.socket);
    set_if_given(settings.control, section.control);
    set_if_given(settings.group, section.group);
    set_if_given(settings.act_group, section.act_group);
    set_if_given(settings.control_group, section.control_group);
    set_if_given(settings.socket_mode, section.socket_mode);
    settings.key_mode = section.key_mode;
    set_if_given(settings.client_queue_bytes, section.client_queue_bytes);
    settings.users = limits_of(section);
    set_if_given(settings.control_idle, section.control_idle);
    set_if_given(settings.shutdown_delay, section.shutdown_delay);
    set_if_given(settings.log_file, section.log_file);
    set_if_given(settings.log_level, section.log_level);
    return settings;
}

} // namespace wispd
