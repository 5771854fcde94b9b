/* SPDX-License-Identifier: Apache-2.0 */
#include "watch/connection.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

enum { INPUT_ROOM = 65536 };

void hbw_connection_init(Hbw_Connection *connection) {
    memset(connection, 0, sizeof *connection);
    connection->descriptor = -1;
}

void hbw_connection_close(Hbw_Connection *connection) {
    if (connection->descriptor >= 0) {
        close(connection->descriptor);
    }
    connection->descriptor = -1;
    connection->input_begin = 0;
    connection->input_end = 0;
    connection->output_size = 0;
}

void hbw_connection_free(Hbw_Connection *connection) {
    hbw_connection_close(connection);
    free(connection->input);
    connection->input = NULL;
    connection->input_room = 0;
}

static int would_wait(void) {
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

int hbw_connect(Hbw_Connection *connection, const char *path) {
    hbw_connection_close(connection);
    connection->descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (connection->descriptor < 0) {
        return HB_ERROR_SOCKET_FAILED;
    }
    struct sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path, sizeof address.sun_path - 1);
    if (connect(connection->descriptor, (const struct sockaddr *)&address, sizeof address) == 0) {
        return HBW_DONE;
    }
    const int result = would_wait() ? HBW_NOTHING_NOW : HB_ERROR_CONNECT_FAILED;
    hbw_connection_close(connection);
    return result;
}

/* ---- Sending ---- */

void hbw_flush(Hbw_Connection *connection) {
    size_t sent = 0;
    while (sent < connection->output_size) {
        const ssize_t count = send(connection->descriptor, connection->output + sent,
                                   connection->output_size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0) {
            sent += (size_t)count;
        } else if (errno != EINTR) {
            break;
        }
    }
    if (sent < connection->output_size && !would_wait()) {
        sent = connection->output_size; /* the daemon does not read it any more */
    }
    memmove(connection->output, connection->output + sent, connection->output_size - sent);
    connection->output_size -= sent;
}

int hbw_send(Hbw_Connection *connection, const unsigned char *bytes, size_t size) {
    if (size > sizeof connection->output - connection->output_size) {
        return HB_ERROR_SEND_FAILED;
    }
    memcpy(connection->output + connection->output_size, bytes, size);
    connection->output_size += size;
    hbw_flush(connection);
    return HBW_DONE;
}

/* ---- Receiving ---- */

static size_t buffered(const Hbw_Connection *connection) {
    return connection->input_end - connection->input_begin;
}

/* The length of the record that begins in the buffer; -1 while it has not arrived. */
static int32_t announced_length(const Hbw_Connection *connection) {
    return buffered(connection) < HBW_LENGTH_SIZE ? -1
                                                  : hbw_number_at(connection->input + connection->input_begin);
}

static int is_valid_length(int32_t length) {
    return length >= HBW_HEADER_SIZE && length <= HBW_RECORD_LONGEST;
}

int hbw_has_record(const Hbw_Connection *connection) {
    if (buffered(connection) < HBW_LENGTH_SIZE) {
        return 0;
    }
    const int32_t length = announced_length(connection);
    return !is_valid_length(length) || buffered(connection) >= HBW_LENGTH_SIZE + (size_t)length;
}

/* Makes room for `wanted` bytes from the beginning of the record. */
static int make_room(Hbw_Connection *connection, size_t wanted) {
    if (connection->input_begin > 0) {
        memmove(connection->input, connection->input + connection->input_begin, buffered(connection));
        connection->input_end -= connection->input_begin;
        connection->input_begin = 0;
    }
    if (wanted > connection->input_room) {
        unsigned char *room = realloc(connection->input, wanted);
        if (room == NULL) {
            return -1;
        }
        connection->input = room;
        connection->input_room = wanted;
    }
    return 0;
}

static int read_more(Hbw_Connection *connection) {
    const int32_t length = announced_length(connection);
    const size_t wanted = length > INPUT_ROOM - HBW_LENGTH_SIZE ? HBW_LENGTH_SIZE + (size_t)length : INPUT_ROOM;
    if (make_room(connection, wanted) != 0) {
        return HB_ERROR_NO_MEMORY;
    }
    const ssize_t count = recv(connection->descriptor, connection->input + connection->input_end,
                               connection->input_room - connection->input_end, MSG_DONTWAIT);
    if (count > 0) {
        connection->input_end += (size_t)count;
        return HBW_DONE;
    }
    return count < 0 && would_wait() ? HBW_NOTHING_NOW : HB_ERROR_DISCONNECTED;
}

int hbw_receive(Hbw_Connection *connection, Hbw_Record *record) {
    while (!hbw_has_record(connection)) {
        const int result = read_more(connection);
        if (result != HBW_DONE) {
            return result;
        }
    }
    const int32_t length = announced_length(connection);
    if (!is_valid_length(length)) {
        return HB_ERROR_UNEXPECTED_REPLY;
    }
    const unsigned char *bytes = connection->input + connection->input_begin + HBW_LENGTH_SIZE;
    hbw_read_record(bytes, (size_t)length, record);
    connection->input_begin += HBW_LENGTH_SIZE + (size_t)length;
    return HBW_DONE;
}
