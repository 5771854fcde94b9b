#include "daemon/publisher/shared_segments.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include "daemon/publisher/ipc_users.h"
#include "host/start_failure.h"
#include "host/text.h"

namespace wispd {

namespace {

// What semctl takes as its fourth argument; the system's headers leave it to the program to say so.
union Semaphore_Argument {
    int val;
    semid_ds *buf;
    unsigned short *array;
};

constexpr std::size_t CONFIGURATION = 0;
constexpr std::size_t ROUTES = 1;
constexpr std::size_t SECURITY = 2;

// Clients that may connect may read the segments.
mode_t read_mode(mode_t socket_mode) {
    return 0600 | ((socket_mode & 0020) << 1) | ((socket_mode & 0002) << 1);
}

// Members of the group count themselves in and out of the route segment. A count can be altered at will, and one that
// is wrong keeps the daemon from publishing routes: others have no access, and read the routes without being counted.
mode_t alter_mode(mode_t socket_mode) {
    const mode_t readers = read_mode(socket_mode) & 0040;
    return 0600 | readers | (readers >> 1);
}

mode_t segment_mode(std::size_t which, const Access &access) {
    return which == SECURITY ? access.key_mode : read_mode(access.socket_mode);
}

template <typename Word> void put_word(Word &shared, Word value) {
    std::atomic_ref(shared).store(value, std::memory_order_relaxed);
}

void write_key(Hb_sec_buffer_desc &shared, const Hb_sec_buffer_desc &fresh) {
    if (std::memcmp(&shared, &fresh, sizeof fresh) == 0) {
        return;
    }
    put_word(shared.length, int32_t{0});
    std::atomic_thread_fence(std::memory_order_seq_cst);
    std::memcpy(shared.value, fresh.value, sizeof shared.value);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    put_word(shared.length, fresh.length);
}

void write_status(Hb_Shared_Security_Status &shared, const Hb_Shared_Security_Status &fresh) {
    put_word(shared.securityOn, fresh.securityOn);
    put_word(shared.keyCount, fresh.keyCount);
    put_word(shared.KLOM_compatible, fresh.KLOM_compatible);
    put_word(shared.is_valid_for_signing, fresh.is_valid_for_signing);
    put_word(shared.is_valid_for_authenticating, fresh.is_valid_for_authenticating);
}

// No key is marshalled into one byte: whoever reads it is refused, and reads again.
constexpr int32_t UNREADABLE = 1;

// Readers do not lock, and compare the generations before and after alone. The current key cannot be read from
// before the first change of the generation until after the last one, so that none reads between the two.
void write_security(Hb_security_information &shared, const Hb_security_information &content) {
    Hb_sec_buffer_desc &current = shared.current_sec_status.key;
    put_word(current.length, UNREADABLE);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    put_word(shared.sequence_number, content.sequence_number - 1);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    write_status(shared.previous_sec_status, content.previous_sec_status);
    write_key(shared.previous_sec_status.key, content.previous_sec_status.key);
    write_status(shared.current_sec_status, content.current_sec_status);
    std::memcpy(current.value, content.current_sec_status.key.value, sizeof current.value);
    for (std::size_t slot = 0; slot < HB_KEY_CACHE_SIZE; ++slot) {
        write_key(shared.cache.keyCache[slot], content.cache.keyCache[slot]);
    }
    put_word(shared.cache.keyCacheCount, content.cache.keyCacheCount);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    put_word(shared.sequence_number, content.sequence_number);
    std::atomic_thread_fence(std::memory_order_seq_cst);
    put_word(current.length, content.current_sec_status.key.length);
}

// Whoever keeps the segment attached when its daemon has gone keeps no keys with it, and no route that is valid.
void invalidate(std::size_t which, void *address) {
    if (which == CONFIGURATION) {
        put_word(static_cast<Hb_memory_configuration_data *>(address)->sequence_number, Hb_Sequence_Number{0});
    } else if (which == SECURITY) {
        auto *shared = static_cast<Hb_security_information *>(address);
        Hb_security_information none{};
        // The next odd one, also after a writer that was killed on its way to one.
        none.sequence_number = (shared->sequence_number | 1) + 2;
        write_security(*shared, none);
    }
}

// For every node number there can be. A cluster that grows needs no other segment, and its open clients lose no route.
constexpr std::size_t ROUTE_SIZE = HB_NODE_SLOTS * sizeof(Hb_route_sequence);

bool plausible_size(std::size_t which, std::size_t size) {
    switch (which) {
    case CONFIGURATION:
        return size == sizeof(Hb_memory_configuration_data);
    case ROUTES:
        return size % sizeof(Hb_route_sequence) == 0; // earlier versions made it for fewer nodes
    default:
        return size == sizeof(Hb_security_information);
    }
}

// The id of the record's segment; -1 when there is none, or it cannot be proven to be that process's.
int proven_segment(const Ipc_Record &record, std::size_t which) {
    if (record.segment_keys[which] == IPC_PRIVATE) {
        return -1;
    }
    const int id = shmget(record.segment_keys[which], 0, 0);
    shmid_ds status{};
    if (id < 0 || shmctl(id, IPC_STAT, &status) != 0) {
        return -1;
    }
    const bool ours = status.shm_cpid == record.pid && status.shm_perm.cuid == geteuid() &&
                      plausible_size(which, status.shm_segsz);
    return ours ? id : -1;
}

bool remove_segment(std::size_t which, int id) {
    void *address = shmat(id, nullptr, 0);
    if (address != reinterpret_cast<void *>(-1)) {
        invalidate(which, address);
        shmdt(address);
    }
    return shmctl(id, IPC_RMID, nullptr) == 0;
}

bool remove_semaphores(const Ipc_Record &record) {
    const int id = record.semaphore_key == IPC_PRIVATE ? -1 : semget(record.semaphore_key, 0, 0);
    semid_ds status{};
    Semaphore_Argument argument{};
    argument.buf = &status;
    if (id < 0 || semctl(id, 0, IPC_STAT, argument) != 0) {
        return false;
    }
    return status.sem_nsems == HB_SEM_COUNT && status.sem_perm.cuid == geteuid() &&
           semctl(id, 0, IPC_RMID) == 0;
}

[[noreturn]] void fail(const char *what) {
    const int error = errno;
    const std::string advice = error == ENOSPC
                                   ? text(" (the system's limit of segments or semaphores is reached",
                                          most_segments(), "; see ipcs -l)")
                                   : std::string();
    throw Start_Failure(text("cannot create ", what, ": ", std::strerror(error), advice));
}

} // namespace

Ipc_Keys keys_of(const std::string &socket_path) {
    constexpr int projects[] = {HB_SHARED_MEM_PROJECT1, HB_SHARED_MEM_PROJECT2, HB_SHARED_MEM_PROJECT3,
                                HB_SHARED_SEM_PROJECT};
    key_t keys[4];
    for (std::size_t i = 0; i < 4; ++i) {
        keys[i] = ftok(socket_path.c_str(), projects[i]);
        if (keys[i] == -1) {
            throw Start_Failure(text("cannot derive a key from ", socket_path, ": ", std::strerror(errno)));
        }
    }
    return {{keys[0], keys[1], keys[2]}, keys[3]};
}

int remove_left_behind(const Ipc_Record &record) {
    int removed = 0;
    std::array<int, 3> proven{};
    bool any = false;
    for (std::size_t which : {CONFIGURATION, ROUTES, SECURITY}) {
        proven[which] = proven_segment(record, which);
        any = any || proven[which] >= 0;
    }
    // Semaphores do not tell who made them: they go with a segment that does.
    if (any && remove_semaphores(record)) {
        ++removed;
    }
    for (std::size_t which : {CONFIGURATION, ROUTES, SECURITY}) {
        if (proven[which] >= 0 && remove_segment(which, proven[which])) {
            ++removed;
        }
    }
    return removed;
}

std::optional<Shared_Segments> Shared_Segments::create(const Ipc_Keys &keys, const Access &access) {
    Shared_Segments made(keys, access);
    const std::size_t sizes[] = {sizeof(Hb_memory_configuration_data), ROUTE_SIZE,
                                 sizeof(Hb_security_information)};
    for (std::size_t which : {ROUTES, SECURITY, CONFIGURATION}) {
        if (!made.make_segment(which, sizes[which])) {
            if (errno == EEXIST) {
                return std::nullopt;
            }
            fail("a shared segment");
        }
    }
    // The semaphores come last and go first, so that there is always a segment to prove whose they are.
    if (!made.make_semaphores()) {
        if (errno == EEXIST) {
            return std::nullopt;
        }
        fail("the semaphores");
    }
    auto *data = static_cast<Hb_memory_configuration_data *>(made.segments_[CONFIGURATION].address);
    put_word(data->number_of_nodes, static_cast<uint32_t>(HB_NODE_SLOTS));
    return made;
}

Shared_Segments::Shared_Segments(Shared_Segments &&other) noexcept
    : keys_(other.keys_), access_(other.access_), segments_(std::exchange(other.segments_, {})),
      semaphores_(std::exchange(other.semaphores_, -1)), set_at_(other.set_at_),
      routes_used_(other.routes_used_) {}

Shared_Segments::~Shared_Segments() {
    const int saved = errno; // create() tells by it why it gave up
    for (std::size_t which : {CONFIGURATION, SECURITY}) {
        if (segments_[which].address != nullptr) {
            invalidate(which, segments_[which].address);
        }
    }
    if (semaphores_ >= 0) {
        semctl(semaphores_, 0, IPC_RMID);
    }
    for (std::size_t which : {CONFIGURATION, ROUTES, SECURITY}) {
        drop_segment(which);
    }
    errno = saved;
}

bool Shared_Segments::make_segment(std::size_t which, std::size_t size) {
    Segment &segment = segments_[which];
    segment.id = shmget(keys_.segments[which], size, static_cast<int>(IPC_CREAT | IPC_EXCL | 0600));
    if (segment.id < 0) {
        return false;
    }
    shmid_ds status{};
    if (shmctl(segment.id, IPC_STAT, &status) != 0) {
        return false;
    }
    status.shm_perm.mode = static_cast<unsigned short>(segment_mode(which, access_));
    if (access_.group != static_cast<gid_t>(-1)) {
        status.shm_perm.gid = access_.group;
    }
    if (shmctl(segment.id, IPC_SET, &status) != 0) {
        return false;
    }
    void *address = shmat(segment.id, nullptr, 0);
    if (address == reinterpret_cast<void *>(-1)) {
        return false;
    }
    segment.address = address;
    if (which == SECURITY) {
        madvise(address, size, MADV_DONTDUMP); // keys belong in no core file
    }
    return true;
}

bool Shared_Segments::make_semaphores() {
    semaphores_ = semget(keys_.semaphores, HB_SEM_COUNT, IPC_CREAT | IPC_EXCL | 0600);
    if (semaphores_ < 0) {
        return false;
    }
    semid_ds status{};
    Semaphore_Argument argument{};
    argument.buf = &status;
    if (semctl(semaphores_, 0, IPC_STAT, argument) != 0) {
        return false;
    }
    status.sem_perm.mode = static_cast<unsigned short>(alter_mode(access_.socket_mode));
    if (access_.group != static_cast<gid_t>(-1)) {
        status.sem_perm.gid = access_.group;
    }
    if (semctl(semaphores_, 0, IPC_SET, argument) != 0) {
        return false;
    }
    set_at_ = time_of_setting().value_or(0);
    return true;
}

void Shared_Segments::drop_segment(std::size_t which) {
    Segment &segment = segments_[which];
    if (segment.address != nullptr) {
        shmdt(segment.address);
    }
    if (segment.id >= 0) {
        shmctl(segment.id, IPC_RMID, nullptr);
    }
    segment = {};
}

void Shared_Segments::publish(int adapters) {
    auto *data = static_cast<Hb_memory_configuration_data *>(segments_[CONFIGURATION].address);
    // Clients read it without a lock.
    put_word(data->number_of_adapters, static_cast<uint32_t>(adapters));
}

// ---- Routes ----

bool Shared_Segments::step(unsigned short semaphore, int by, int flags) const {
    sembuf operation = {semaphore, static_cast<short>(by), static_cast<short>(flags | IPC_NOWAIT)};
    return semop(semaphores_, &operation, 1) == 0;
}

bool Shared_Segments::hold_readers() {
    return step(HB_SEM_WRITER, 1, SEM_UNDO);
}

void Shared_Segments::let_readers_in() {
    step(HB_SEM_WRITER, -1, SEM_UNDO);
}

int Shared_Segments::readers_inside() const {
    if (step(HB_SEM_READERS, 0, 0)) {
        return 0;
    }
    if (errno != EAGAIN) {
        return -1;
    }
    // They may all have left by now; then the next look finds nobody.
    const int count = semctl(semaphores_, HB_SEM_READERS, GETVAL);
    return count < 1 ? 1 : count;
}

// The system notes when values were set or the set was changed otherwise; counting in and out is noted apart.
std::optional<time_t> Shared_Segments::time_of_setting() const {
    semid_ds status{};
    Semaphore_Argument argument{};
    argument.buf = &status;
    return semctl(semaphores_, 0, IPC_STAT, argument) == 0 ? std::optional(status.sem_ctime) : std::nullopt;
}

Semaphore_Values Shared_Segments::semaphore_values() const {
    const std::optional<time_t> set_at = time_of_setting();
    const int readers = semctl(semaphores_, HB_SEM_READERS, GETVAL);
    const int writer = semctl(semaphores_, HB_SEM_WRITER, GETVAL);
    if (!set_at || readers < 0 || writer < 0) {
        return {};
    }
    return {readers, writer, *set_at != set_at_};
}

void Shared_Segments::reset(unsigned short semaphore) {
    Semaphore_Argument argument{};
    argument.val = 0;
    semctl(semaphores_, semaphore, SETVAL, argument);
    set_at_ = time_of_setting().value_or(set_at_);
}

bool Shared_Segments::others_attached() const {
    shmid_ds status{};
    return shmctl(segments_[ROUTES].id, IPC_STAT, &status) != 0 || status.shm_nattch > 1;
}

void Shared_Segments::write_routes(Hb_Sequence_Number sequence, const Routes &routes) {
    auto *records = static_cast<Hb_route_sequence *>(segments_[ROUTES].address);
    // The records behind have never been written and are invalid.
    routes_used_ = std::min<std::size_t>(std::max(routes_used_, routes.size()), HB_NODE_SLOTS);
    for (std::size_t node = 0; node < routes_used_; ++node) {
        Hb_route_sequence &record = records[node];
        const Node_Route route = node < routes.size() ? routes[node] : Node_Route{};
        put_word(record.sequence_number, Hb_Sequence_Number{0});
        std::atomic_thread_fence(std::memory_order_seq_cst);
        record.length = route.length;
        record.nonip = route.is_ip ? 0 : 1;
        record.ip_option = route.hops;
        std::atomic_thread_fence(std::memory_order_seq_cst);
        // Without a route the record stays invalid.
        put_word(record.sequence_number, route.length > 0 ? sequence : 0);
    }
    auto *data = static_cast<Hb_memory_configuration_data *>(segments_[CONFIGURATION].address);
    std::atomic_ref(data->sequence_number).store(sequence, std::memory_order_seq_cst);
}

// ---- Keys ----

void Shared_Segments::publish_security(const Hb_security_information &content) {
    write_security(*static_cast<Hb_security_information *>(segments_[SECURITY].address), content);
}

} // namespace wispd
