// SPDX-License-Identifier: Apache-2.0
// The descriptor sets and the time-out of a wait. A platform class adds the wait itself.
#pragma once

#include <sys/select.h>
#include <sys/time.h>

#include "hb_client.h"

class Hb_Select_Base {
  public:
    Hb_Select_Base();
    Hb_Select_Base(const Hb_Select_Base &) = delete;
    Hb_Select_Base &operator=(const Hb_Select_Base &) = delete;

    virtual ~Hb_Select_Base();
    virtual long Error();

    // Descriptors outside 0 to 1023 fit in no set. Setting or clearing one changes only the count, and it is
    // never reported as set.
    virtual void rd_zero();
    virtual void rd_clr(int fd);
    virtual void rd_set(int fd);
    virtual int rd_isset(int fd) const;
    virtual void wr_zero();
    virtual void wr_clr(int fd);
    virtual void wr_set(int fd);
    virtual int wr_isset(int fd) const;
    virtual void ex_zero();
    virtual void ex_clr(int fd);
    virtual void ex_set(int fd);
    virtual int ex_isset(int fd) const;

    // Waits until a descriptor of a set is ready or the time-out expires. Both are success, and the sets then
    // hold only the ready descriptors.
    virtual Hb_Rc wait() = 0;

    void timeout(const timeval &t);
    void non_blocking_timeout();

    long myError;
    fd_set rd_fds, wr_fds, ex_fds;
    fd_set *rd_fds_ptr, *wr_fds_ptr, *ex_fds_ptr; // null while the set is empty
    int rd_count, wr_count, ex_count;             // set minus clear operations
    timeval wait_time;
    timeval *wait_time_ptr; // null: wait without limit
};
