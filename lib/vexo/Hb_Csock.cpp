// SPDX-License-Identifier: Apache-2.0
#include "lib/vexo/Hb_Csock.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include "lib/base/error_number.h"
#include "lib/vexo/Hb_Select.h"
#include "lib/vexo/socket_path.h"
#include "lib/wire/hb_wire.h"

namespace {

constexpr int BUFFER_SIZE = 32768;
constexpr int PREFIX_SIZE = 4;
constexpr timeval READ_ROUND = {5, 0};

// Closes a descriptor without a cancellation point: a cancellation must not unwind out of a destructor.
void close_quietly(int fd) {
    int state = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    close(fd);
    pthread_setcancelstate(state, nullptr);
}

// Closes a new socket if its owner is not completed, for instance after a cancellation in connect.
class New_Socket {
  public:
    explicit New_Socket(int fd) : fd_(fd) {}
    ~New_Socket() {
        if (!kept_) {
            close_quietly(fd_);
        }
    }
    New_Socket(const New_Socket &) = delete;
    New_Socket &operator=(const New_Socket &) = delete;

    void keep() { kept_ = true; }

  private:
    int fd_;
    bool kept_ = false;
};

bool set_buffer(int fd, int option) {
    return setsockopt(fd, SOL_SOCKET, option, &BUFFER_SIZE, sizeof BUFFER_SIZE) == 0;
}

} // namespace

long hb_writev_retry(int fd, iovec *iov, int count) {
    constexpr int room = 2;
    if (count < 0 || count > room) {
        errno = EINVAL;
        return -1;
    }
    iovec local[room] = {};
    std::copy_n(iov, count, local);
    long written = 0;
    for (;;) {
        const ssize_t n = writev(fd, local, count);
        if (n == 0) {
            return written;
        }
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            if (errno != EAGAIN) {
                return n;
            }
        } else {
            written += n;
            // Only a write that ends exactly at the end of a vector advances correctly. After a write that
            // ends inside a vector the count turns negative and the next write fails. The stream is then out
            // of step, and the caller must reconnect.
            auto rest = static_cast<long>(n);
            int i = 0;
            while (i < count) {
                rest -= static_cast<long>(local[i].iov_len);
                if (rest == 0) {
                    break;
                }
                ++i;
            }
            while (i < count - 1 && local[i + 1].iov_len == 0) {
                ++i;
            }
            if (i == count - 1) {
                return written;
            }
            if (i != 0) {
                ++i;
                for (int k = i; k < count && k < room; ++k) {
                    local[k - i] = local[k];
                }
                count -= i;
            }
        }
        pollfd writable = {fd, POLLOUT, 0};
        poll(&writable, 1, -1);
    }
}

Hb_Csock::Hb_Csock() : sock(-1), socket_eof(Hb_False), socket_un{}, myError(HB_CSOCK_OK) {
    std::memcpy(socket_un.sun_path, SERVER_SOCK_FNAME, sizeof socket_un.sun_path);
    socket_un.sun_path[sizeof socket_un.sun_path - 1] = '\0';
    sock = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (sock < 0) {
        myError = HB_CSOCK_NO_SOCKET;
        set_hb_errno(HB_ERROR_SOCKET_FAILED);
        return;
    }
    if (!set_buffer(sock, SO_SNDBUF) || !set_buffer(sock, SO_RCVBUF)) {
        myError = HB_CSOCK_NO_BUFFER;
        set_hb_errno(HB_ERROR_SOCKET_BUFFER_FAILED);
        return;
    }
    socket_un.sun_family = AF_UNIX;
    const auto length = static_cast<socklen_t>(std::strlen(socket_un.sun_path) + sizeof socket_un.sun_family);
    New_Socket guard(sock);
    // Not repeated after a signal whose handler lacks SA_RESTART: so a program can end the wait for a daemon
    // that does not accept connections.
    const int connected = connect(sock, reinterpret_cast<const sockaddr *>(&socket_un), length);
    guard.keep();
    if (connected != 0) {
        myError = HB_CSOCK_NOT_CONNECTED;
        set_hb_errno(HB_ERROR_CONNECT_FAILED);
    }
}

Hb_Csock::~Hb_Csock() {
    close_quietly(sock);
}

long Hb_Csock::Error() {
    return myError;
}

int Hb_Csock::socket() const {
    return sock;
}

Hb_Boolean Hb_Csock::eof() {
    return socket_eof;
}

Hb_Rc Hb_Csock::send(char *buf, int len) {
    iovec vectors[2] = {{&len, PREFIX_SIZE}, {buf, static_cast<std::size_t>(len)}};
    const long r = hb_writev_retry(sock, vectors, 2);
    if (r >= 0 && r != int64_t{len} + PREFIX_SIZE) {
        myError = HB_CSOCK_SHORT_WRITE;
        return Hb_Failure;
    }
    if (r < 0) {
        switch (errno) {
        case EFAULT:
            myError = HB_CSOCK_FAULT;
            break;
        case EPIPE:
            myError = HB_CSOCK_EOF;
            socket_eof = Hb_True;
            break;
        case EIO:
            myError = HB_CSOCK_WRITE_IO;
            break;
        default:
            myError = HB_CSOCK_WRITE_FAILED;
            break;
        }
        return Hb_Failure;
    }
    return Hb_Success;
}

Hb_Rc Hb_Csock::recvn(char *buf, int n) {
    Hb_Select readable;
    readable.timeout(READ_ROUND);
    while (n > 0) {
        const ssize_t r = read(sock, buf, static_cast<std::size_t>(n));
        if (r > 0) {
            buf += r;
            n -= static_cast<int>(r);
            continue;
        }
        if (r == 0) {
            socket_eof = Hb_True;
            myError = HB_CSOCK_EOF;
            return Hb_Failure;
        }
        switch (errno) {
        case EINTR:
            break;
        case EAGAIN:
            if (sock >= FD_SETSIZE) {
                return Hb_Failure;
            }
            readable.rd_set(sock);
            readable.timeout(READ_ROUND);
            if (readable.wait() != Hb_Success && readable.Error() != HB_SELECT_AGAIN) {
                return Hb_Failure;
            }
            break;
        case EIO:
            myError = HB_CSOCK_READ_IO;
            return Hb_Failure;
        case EFAULT:
            myError = HB_CSOCK_FAULT;
            return Hb_Failure;
        default:
            myError = HB_CSOCK_READ_FAILED;
            return Hb_Failure;
        }
    }
    myError = HB_CSOCK_OK;
    return Hb_Success;
}

Hb_Rc Hb_Csock::skip(int n) {
    char unwanted[4096];
    while (n > 0) {
        const int piece = std::min<int>(n, sizeof unwanted);
        if (recvn(unwanted, piece) != Hb_Success) {
            return Hb_Failure;
        }
        n -= piece;
    }
    return Hb_Success;
}

Hb_Rc Hb_Csock::receive(char **buf, int &len) {
    int length = 0;
    if (recvn(reinterpret_cast<char *>(&length), PREFIX_SIZE) != Hb_Success) {
        return Hb_Failure;
    }
    if (length < 0 || length > HB_RECORD_MAX) {
        myError = HB_CSOCK_READ_FAILED;
        return Hb_Failure;
    }
    std::unique_ptr<char[]> record(new (std::nothrow) char[static_cast<std::size_t>(length)]);
    if (!record) {
        // Payload that is left unread would be read as the next record's length.
        if (skip(length) == Hb_Success) {
            myError = HB_CSOCK_READ_FAILED;
        }
        return Hb_Failure;
    }
    if (recvn(record.get(), length) != Hb_Success) {
        return Hb_Failure;
    }
    *buf = record.release();
    len = length;
    return Hb_Success;
}
