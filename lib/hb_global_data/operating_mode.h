// Which source of truth the process uses: the daemon, or the cluster service (MOX mode).
#ifndef HB_OPERATING_MODE_H
#define HB_OPERATING_MODE_H

extern bool IsMOX;
extern bool migrate_to_mox_prep; // set while a move from the first to the second is being prepared

#endif
