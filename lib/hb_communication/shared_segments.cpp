// SPDX-License-Identifier: Apache-2.0
#include "lib/hb_communication/shared_segments.h"

#include <cerrno>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include "lib/base/error_number.h"
#include "lib/base/read_once.h"
#include "lib/hb_communication/trusted_creator.h"
#include "lib/vexo/socket_path.h"

int shm_id[3] = {-1, -1, -1};
int shm_sem_id = -1;
const Hb_memory_configuration_data *data_for_client = nullptr;
const Hb_route_sequence *shared_route_info = nullptr;
const Hb_security_information *security_info = nullptr;

namespace {

uint32_t route_slots = 0;

struct Keys {
    key_t HB_SHARED_MEM_KEY1;
    key_t HB_SHARED_MEM_KEY2;
    key_t HB_SHARED_MEM_KEY3;
    key_t HB_SHARED_SEM_KEY;
};

Hb_Rc derive_keys(Keys &keys) {
    const struct {
        key_t *key;
        int project;
        int error;
    } rows[] = {{&keys.HB_SHARED_MEM_KEY1, HB_SHARED_MEM_PROJECT1, HB_ERROR_NO_CONFIG_SEGMENT_KEY},
                {&keys.HB_SHARED_MEM_KEY2, HB_SHARED_MEM_PROJECT2, HB_ERROR_NO_ROUTE_SEGMENT_KEY},
                {&keys.HB_SHARED_MEM_KEY3, HB_SHARED_MEM_PROJECT3, HB_ERROR_NO_SECURITY_SEGMENT_KEY},
                {&keys.HB_SHARED_SEM_KEY, HB_SHARED_SEM_PROJECT, HB_ERROR_NO_SEMAPHORE_KEY}};
    for (const auto &row : rows) {
        *row.key = ftok(SERVER_SOCK_FNAME, row.project);
        if (*row.key == -1) {
            return hb_fail(row.error);
        }
    }
    return Hb_Success;
}

// The first segment can hit the system's limit on segments, the others the process's limit.
int find_error(int number, int limit_errno) {
    switch (number) {
    case EACCES:
        return HB_ERROR_SEGMENT_PERMISSION;
    case EINVAL:
        return HB_ERROR_SEGMENT_SIZE;
    case ENOENT:
        return HB_ERROR_SEGMENT_ABSENT;
    case ENOMEM:
        return HB_ERROR_SEGMENT_MEMORY;
    default:
        return number == limit_errno ? HB_ERROR_SEGMENT_LIMIT : HB_ERROR_SEGMENT_FAILED;
    }
}

int attach_error(int number) {
    switch (number) {
    case EACCES:
        return HB_ERROR_ATTACH_PERMISSION;
    case EINVAL:
        return HB_ERROR_ATTACH_INVALID;
    case ENOENT:
        return HB_ERROR_ATTACH_ABSENT;
    case ENOMEM:
        return HB_ERROR_ATTACH_MEMORY;
    default:
        return HB_ERROR_ATTACH_FAILED;
    }
}

int semaphore_error(int number) {
    switch (number) {
    case EACCES:
        return HB_ERROR_SEMAPHORE_PERMISSION;
    case EINVAL:
        return HB_ERROR_SEMAPHORE_SIZE;
    case ENOENT:
        return HB_ERROR_SEMAPHORE_ABSENT;
    case ENOMEM:
        return HB_ERROR_SEMAPHORE_MEMORY;
    case ENOSPC:
        return HB_ERROR_SEMAPHORE_LIMIT;
    default:
        return HB_ERROR_SEMAPHORE_FAILED;
    }
}

// Explains why a segment was rejected: 0, or a system error. The segment is attached, because the number of a
// removed segment can be given to another one.
int why_segment_refused(int id) {
    shmid_ds status = {};
    if (shmctl(id, IPC_STAT, &status) != 0) {
        return errno;
    }
    return hb_is_trusted_creator(status.shm_perm.cuid) ? 0 : EACCES;
}

// The fourth argument of semctl. The system's headers leave its declaration to the program.
union Semaphore_Argument {
    int val;
    semid_ds *buf;
    unsigned short *array;
};

// Another user's semaphores could block every reader, so they are rejected. A set without read permission is
// not used, and that is no error: without semaphores a reader copies until it has a whole record.
Hb_Rc check_semaphores() {
    semid_ds status = {};
    Semaphore_Argument argument = {};
    argument.buf = &status;
    const int unknown = semctl(shm_sem_id, 0, IPC_STAT, argument) == 0 ? 0 : errno;
    if (unknown == 0 && hb_is_trusted_creator(status.sem_perm.cuid)) {
        return Hb_Success;
    }
    shm_sem_id = -1;
    return unknown == EACCES ? Hb_Success : hb_fail(semaphore_error(unknown == 0 ? EACCES : unknown));
}

template <typename Record>
Hb_Rc attach(key_t key, uint64_t size, int limit_errno, int &id, const Record *&address) {
    if (size > SIZE_MAX) {
        return hb_fail(HB_ERROR_SEGMENT_SIZE);
    }
    id = shmget(key, static_cast<std::size_t>(size), 0);
    if (id == -1) {
        return hb_fail(find_error(errno, limit_errno));
    }
    const void *attached = shmat(id, nullptr, SHM_RDONLY);
    if (reinterpret_cast<intptr_t>(attached) == -1) {
        return hb_fail(attach_error(errno));
    }
    const int refused = why_segment_refused(id);
    if (refused != 0) {
        shmdt(attached);
        return hb_fail(attach_error(refused));
    }
    address = static_cast<const Record *>(attached);
    return Hb_Success;
}

// Keys stay out of core files. A kernel that does not support this is no reason to reject them.
void keep_out_of_core_files(const Hb_security_information &security) {
    madvise(const_cast<Hb_security_information *>(&security), sizeof security, MADV_DONTDUMP);
}

template <typename Record> void detach(const Record *&address) {
    if (address != nullptr) {
        shmdt(address);
        address = nullptr;
    }
}

} // namespace

void hb_detach_shared_memory() {
    detach(data_for_client);
    detach(shared_route_info);
    detach(security_info);
    route_slots = 0;
    for (int &id : shm_id) {
        id = -1;
    }
    shm_sem_id = -1;
}

Hb_Rc hb_init_shared_memory() {
    hb_detach_shared_memory();
    Keys keys = {};
    if (derive_keys(keys) != Hb_Success) {
        return Hb_Failure;
    }
    if (attach(keys.HB_SHARED_MEM_KEY1, sizeof(Hb_memory_configuration_data), ENOSPC, shm_id[0],
               data_for_client) != Hb_Success) {
        return Hb_Failure;
    }
    const uint32_t nodes = hb_read_once(data_for_client->number_of_nodes);
    if (attach(keys.HB_SHARED_MEM_KEY2, uint64_t{nodes} * sizeof(Hb_route_sequence), EMFILE, shm_id[1],
               shared_route_info) != Hb_Success) {
        return Hb_Failure;
    }
    route_slots = nodes;
    if (attach(keys.HB_SHARED_MEM_KEY3, sizeof(Hb_security_information), EMFILE, shm_id[2], security_info) !=
        Hb_Success) {
        return Hb_Failure;
    }
    keep_out_of_core_files(*security_info);
    shm_sem_id = semget(keys.HB_SHARED_SEM_KEY, HB_SEM_COUNT, 0);
    if (shm_sem_id == -1) {
        return hb_fail(semaphore_error(errno));
    }
    return check_semaphores();
}

uint32_t hb_attached_route_slots() {
    return route_slots;
}
