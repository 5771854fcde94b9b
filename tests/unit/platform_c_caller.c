// SPDX-License-Identifier: Apache-2.0
/* A caller of the platform's libraries in C99: every header, and each kind of declaration in use. */
#include "qz_ffdc.h"
#include "qz_mox.h"
#include "qz_mss.h"
#include "qz_tr.h"

int c_caller_reads_a_site_event(const qz_orb_event_metadata_t *event, uint64_t *sequence, char *mac_byte,
                                const qz_mox_net_intf_info_t *intf, uint32_t *ipv4);
int c_caller_uses_every_library(void);

int c_caller_reads_a_site_event(const qz_orb_event_metadata_t *event, uint64_t *sequence, char *mac_byte,
                                const qz_mox_net_intf_info_t *intf, uint32_t *ipv4) {
    const qz_orb_event_site_cfg_t *site = event->event.p_site_cfg;
    if (event->category != QZ_ORB_EVENT_CATEGORY_SITE_CFG || site->site_id.low != 0xABCDEF) {
        return -1;
    }
    *sequence = site->sequence_number;
    *mac_byte = (char)intf->hwaddr.ieee802mac[5];
    *ipv4 = intf->ip_addr.v4.v4_in_v6_ipv4;
    return site->event_type;
}

int c_caller_uses_every_library(void) {
    static const tr_category_description_t categories[] = {{0, "Errors", 0, 0}};
    unsigned char level = 9;
    tr_file_token_t *tokens = 0;
    fc_eid_t id;
    sec_key_desc key = {1, 2, 3, 0, 0};
    if (tr_ms_register_component_1("c_caller", &level, categories, 1, &tokens) != 0 || level != 0) {
        return 1;
    }
    tr_ms_record_values_32_1("c_caller", 1, tokens[0], 1, 5);
    if (qz_ffdc_make_id(id) != 0 || qz_ffdc_check_id(id) != 0) {
        return 2;
    }
    sec_wipe(&key, sizeof key);
    if (key.type != 0 || key.version != 0 || key.length != 0) {
        return 3;
    }
    return qz_mox_service_present() == 0 ? 0 : 4;
}
