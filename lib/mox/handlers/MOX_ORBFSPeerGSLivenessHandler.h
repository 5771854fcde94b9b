// The membership daemons of other nodes come up and go down. What one of them says of its node outlives the
// service's own "up", until the node is heard of again.
#ifndef MOX_ORBFSPEERGSLIVENESSHANDLER_H
#define MOX_ORBFSPEERGSLIVENESSHANDLER_H

#include "lib/mox/handlers/MOX_ORBFSHandler.h"

class ORBFSPeerGSLivenessHandler : public ORBFSHandler {
  public:
    explicit ORBFSPeerGSLivenessHandler(char *name);
    ~ORBFSPeerGSLivenessHandler() override;

    // A failed reading fails the call without an error number.
    Hb_Rc handler(int *events, char *name, Hb_Group *group, unsigned long *seqnum_p) override;
};

#endif
