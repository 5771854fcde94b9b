// Keeps the system's errno through calls that may change it, so that tracing is invisible to the caller.
#ifndef HB_ERRNO_KEEPER_H
#define HB_ERRNO_KEEPER_H

#include <cerrno>

class Hb_Errno_Keeper {
  public:
    Hb_Errno_Keeper() : kept_(errno) {}
    ~Hb_Errno_Keeper() { errno = kept_; }
    Hb_Errno_Keeper(const Hb_Errno_Keeper &) = delete;
    Hb_Errno_Keeper &operator=(const Hb_Errno_Keeper &) = delete;

  private:
    int kept_;
};

#endif
