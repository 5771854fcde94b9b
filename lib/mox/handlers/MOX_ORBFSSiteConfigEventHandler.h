// SPDX-License-Identifier: Apache-2.0
// Reports sites that split and merge.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSConfigurationHandler.h"

class ORBFSSiteConfigEventHandler : public ORBFSConfigurationHandler {
  public:
    explicit ORBFSSiteConfigEventHandler(char *name);
    ~ORBFSSiteConfigEventHandler() override;

    // Errors when the service does not answer: 87 the local node's identifier, 86 the local site, 88 the merge
    // policy. After a site came up or was changed every failed query sets 87.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

    // The service's answers about the local site, each with a flag that it was obtained.
    qz_mox_uuid_t cached_local_node_uuid;
    bool cached_local_node_uuid_obtained;
    qz_mox_site_info_t cached_local_site_info;
    bool cached_local_site_info_obtained;
    qz_mox_site_policy_t cached_site_merge_policy;
    bool cached_site_merge_policy_obtained;

  private:
    // Queries what is not known yet. Returns the position of the query that failed, or 0.
    int query_missing();
    void forget_answers();
    Hb_Rc process(const qz_orb_event_site_cfg_t &record, const MOX_Event_Output &out);
    Hb_Rc site_down(const qz_orb_event_site_cfg_t &record, const MOX_Event_Output &out);
    void fill(const qz_orb_event_site_cfg_t &record, int event, Hb_Group &group) const;
    Hb_Site_Info local_site(const qz_orb_event_site_cfg_t &record) const;
};
