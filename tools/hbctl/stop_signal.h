// SIGINT and SIGTERM as a descriptor that becomes readable.
#pragma once

namespace hbctl {

// The first signal makes the descriptor readable; a second one ends the process at once, in case something
// blocks. One object at a time; the old dispositions come back with its end.
class StopSignal {
  public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal &) = delete;
    StopSignal &operator=(const StopSignal &) = delete;

    int descriptor() const { return read_end_; }

  private:
    int read_end_ = -1;
    int write_end_ = -1;
};

} // namespace hbctl
