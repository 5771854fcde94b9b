// SPDX-License-Identifier: Apache-2.0
// A handler that the library itself signals, through a pipe whose read end is its descriptor.
#pragma once

#include "lib/mox/handlers/MOX_ORBFSHandler.h"

class ORBFSPipeHandler : public ORBFSHandler {
  public:
    // Becomes the owner of both ends of a pipe: fds[0] reads, fds[1] writes.
    ORBFSPipeHandler(int *fds, char *name);
    // Monitors a file and has no pipe.
    explicit ORBFSPipeHandler(char *name);
    ~ORBFSPipeHandler() override;

    int getWriteFd() const { return orbfs_pipe_write_fd; }

    int32_t orbfs_pipe_write_fd; // -1: none
};
