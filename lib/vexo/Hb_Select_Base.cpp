// SPDX-License-Identifier: Apache-2.0
#include "lib/vexo/Hb_Select_Base.h"

namespace {

bool fits(int fd) {
    return fd >= 0 && fd < FD_SETSIZE;
}

void zero(fd_set &set, fd_set *&set_ptr, int &count) {
    count = 0;
    set_ptr = nullptr;
    FD_ZERO(&set);
}

void add(fd_set &set, fd_set *&set_ptr, int &count, int fd) {
    ++count;
    set_ptr = &set;
    if (fits(fd)) {
        FD_SET(fd, &set);
    }
}

void remove(fd_set &set, fd_set *&set_ptr, int &count, int fd) {
    if (--count == 0) {
        set_ptr = nullptr;
    }
    if (fits(fd)) {
        FD_CLR(fd, &set);
    }
}

int holds(const fd_set &set, int fd) {
    return fits(fd) && FD_ISSET(fd, &set) ? 1 : 0;
}

} // namespace

Hb_Select_Base::Hb_Select_Base() : myError(0), wait_time{10, 0}, wait_time_ptr(&wait_time) {
    zero(rd_fds, rd_fds_ptr, rd_count);
    zero(wr_fds, wr_fds_ptr, wr_count);
    zero(ex_fds, ex_fds_ptr, ex_count);
}

Hb_Select_Base::~Hb_Select_Base() = default;

long Hb_Select_Base::Error() {
    return myError;
}

void Hb_Select_Base::rd_zero() {
    zero(rd_fds, rd_fds_ptr, rd_count);
}

void Hb_Select_Base::rd_clr(int fd) {
    remove(rd_fds, rd_fds_ptr, rd_count, fd);
}

void Hb_Select_Base::rd_set(int fd) {
    add(rd_fds, rd_fds_ptr, rd_count, fd);
}

int Hb_Select_Base::rd_isset(int fd) const {
    return holds(rd_fds, fd);
}

void Hb_Select_Base::wr_zero() {
    zero(wr_fds, wr_fds_ptr, wr_count);
}

void Hb_Select_Base::wr_clr(int fd) {
    remove(wr_fds, wr_fds_ptr, wr_count, fd);
}

void Hb_Select_Base::wr_set(int fd) {
    add(wr_fds, wr_fds_ptr, wr_count, fd);
}

int Hb_Select_Base::wr_isset(int fd) const {
    return holds(wr_fds, fd);
}

void Hb_Select_Base::ex_zero() {
    zero(ex_fds, ex_fds_ptr, ex_count);
}

void Hb_Select_Base::ex_clr(int fd) {
    remove(ex_fds, ex_fds_ptr, ex_count, fd);
}

void Hb_Select_Base::ex_set(int fd) {
    add(ex_fds, ex_fds_ptr, ex_count, fd);
}

int Hb_Select_Base::ex_isset(int fd) const {
    return holds(ex_fds, fd);
}

void Hb_Select_Base::timeout(const timeval &t) {
    wait_time = t;
    wait_time_ptr = &wait_time;
}

void Hb_Select_Base::non_blocking_timeout() {
    timeout({0, 0});
}
