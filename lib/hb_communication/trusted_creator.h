// Whose segments and semaphores the library uses. Any local user can make some under the keys of a socket path, for
// instance while the daemon is not running.
#ifndef HB_TRUSTED_CREATOR_H
#define HB_TRUSTED_CREATOR_H

#include <sys/types.h>

// True for root and for the user whose daemon listens at the other end of the connection. Without a connection this
// process's own user stands for the daemon's.
bool hb_is_trusted_creator(uid_t creator);

#endif
