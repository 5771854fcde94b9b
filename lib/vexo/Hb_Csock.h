// SPDX-License-Identifier: Apache-2.0
// lib/vexo/ is the transport to the daemon on this platform: the socket, the wait set (Hb_Select.h) and the
// socket's path.
//
// The connection to the daemon over a UNIX stream socket. A record is a 4-byte length and its payload.
#pragma once

#include <sys/uio.h>
#include <sys/un.h>

#include "lib/vexo/Hb_Csock_Base.h"

// The values of Error(): the result of the last operation. FAULT: a bad address. NO_BUFFER: the buffer size
// could not be set. IO: an input/output error. EOF: the daemon closed the connection.
enum Hb_Csock_Status : long {
    HB_CSOCK_OK = 0,
    HB_CSOCK_FAULT = 1,
    HB_CSOCK_NO_SOCKET = 2,
    HB_CSOCK_NO_BUFFER = 3,
    HB_CSOCK_NOT_CONNECTED = 4,
    HB_CSOCK_SHORT_WRITE = 5,
    HB_CSOCK_RESERVED_6 = 6, // the reserved values belong to other transports; this one never sets them
    HB_CSOCK_RESERVED_7 = 7,
    HB_CSOCK_WRITE_IO = 8,
    HB_CSOCK_WRITE_FAILED = 9,
    HB_CSOCK_RESERVED_10 = 10,
    HB_CSOCK_RESERVED_11 = 11,
    HB_CSOCK_READ_IO = 12,
    HB_CSOCK_READ_FAILED = 13,
    HB_CSOCK_EOF = 14
};

class Hb_Csock : public Hb_Csock_Base {
  public:
    // Connects to SERVER_SOCK_FNAME (lib/vexo/socket_path.h). Error() returns the result.
    Hb_Csock();
    ~Hb_Csock() override;
    long Error() override;
    Hb_Rc send(char *buf, int len) override;
    Hb_Rc receive(char **buf, int &len) override;
    int socket() const override;

    // True after the daemon has closed the connection. Never reset.
    Hb_Boolean eof();
    // Reads exactly n bytes and waits for them without limit. Fails only after an error or a disconnect.
    Hb_Rc recvn(char *buf, int n);

    int sock;
    Hb_Boolean socket_eof;
    sockaddr_un socket_un;
    long myError;

  private:
    // Reads and discards n bytes.
    Hb_Rc skip(int n);
};

// Writes at most two vectors. Repeats interrupted writes, and waits while the buffer is full. A write that ends
// inside a vector makes the call fail; the caller must then reconnect. Returns the number of bytes written, or
// a negative value with errno set.
long hb_writev_retry(int fd, iovec *iov, int count);
