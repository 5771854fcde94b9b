// The base of the handlers whose events change the configuration.
#ifndef MOX_ORBFSCONFIGURATIONHANDLER_H
#define MOX_ORBFSCONFIGURATIONHANDLER_H

#include "lib/MOX_ORBFSHandler.h"
#include "qz_mox.h"

class ORBFSConfigurationHandler : public ORBFSHandler {
  public:
    explicit ORBFSConfigurationHandler(char *name);
    ~ORBFSConfigurationHandler() override;

    // Does nothing and succeeds; derived classes override it.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;

    // Rebuilds the working table from the service and turns the difference to the live one into events: what
    // departed first is given to the caller at once, the rest is queued. When the service does not answer the
    // working table is compared as it was left, and the error number is that of hb_mox_update_global_tbl.
    // Errors: 59.
    Hb_Rc update_global_table_and_construct_events(int *events, char *name, Hb_Group *group,
                                                   unsigned long *seqnum_p, qz_orb_event_metadata_t *event);

  private:
    void deliver_departed_adapters(MOX_Event *departed, int *events, char *name, Hb_Group *group);
};

#endif
