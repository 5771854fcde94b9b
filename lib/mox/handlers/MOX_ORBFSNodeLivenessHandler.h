// Nodes that come up and go down, and their adapters with them.
#ifndef MOX_ORBFSNODELIVENESSHANDLER_H
#define MOX_ORBFSNODELIVENESSHANDLER_H

#include "lib/mox/handlers/MOX_ORBFSHandler.h"
#include "qz_mox.h"

class ORBFSNodeLivenessHandler : public ORBFSHandler {
  public:
    explicit ORBFSNodeLivenessHandler(char *name);
    ~ORBFSNodeLivenessHandler() override;

    // Errors: HB_ERROR_WAKE_UP_FAILED (59).
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

  private:
    struct Output {
        int *events;
        char *name;
        Hb_Group *group;
        unsigned long *seqnum_p;
    };
    Hb_Rc process(const qz_orb_event_node_liveness_t &record, const Output &out);
    Hb_Rc make_up_for_missed_comparison(const Output &out);
    // Whether there is something to signal. has_table: the working table is what the service has now.
    bool went_down(const qz_orb_event_node_liveness_t &record, bool has_table, const Output &out);
    bool came_up(const qz_orb_event_node_liveness_t &record, bool has_table, const Output &out);
    bool queue_adapters_of_returned_node(int node);
    void tell_nothing_new(int node, unsigned long seqnum, const Output &out);
    void tell_node(int node, int event, unsigned long seqnum, const Output &out);
};

#endif
