// SPDX-License-Identifier: Apache-2.0
#include "lib/mox/handlers/MOX_ORBFSPipeHandler.h"

#include <unistd.h>

#include "lib/base/MOX_HBC_trace.h"
#include "lib/base/uncancelled.h"

ORBFSPipeHandler::ORBFSPipeHandler(int *fds, char *name)
    : ORBFSHandler(fds, name), orbfs_pipe_write_fd(fds[1]) {
    orbfs_fd = fds[0];
    hb_trace_values(HB_TRACE_INFO, HB_TR_PIPE_HANDLER_MADE, orbfs_fd, orbfs_pipe_write_fd);
    selfRegister();
}

ORBFSPipeHandler::ORBFSPipeHandler(char *name) : ORBFSHandler(name), orbfs_pipe_write_fd(-1) {}

ORBFSPipeHandler::~ORBFSPipeHandler() {
    if (orbfs_pipe_write_fd != -1) {
        const Hb_Uncancelled guard; // close is a cancellation point
        close(orbfs_pipe_write_fd);
        orbfs_pipe_write_fd = -1;
    }
}
