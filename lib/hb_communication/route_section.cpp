#include "lib/hb_communication/route_section.h"

#include <cerrno>
#include <sys/sem.h>

#include "lib/hb_communication/shared_segments.h"

Hb_Route_Section::Hb_Route_Section() : entered_(false) {
    sembuf enter[2] = {{HB_SEM_READERS, 1, SEM_UNDO}, {HB_SEM_WRITER, 0, 0}};
    int result = -1;
    do {
        result = semop(shm_sem_id, enter, 2);
    } while (result == -1 && errno == EINTR);
    entered_ = result == 0;
}

Hb_Route_Section::~Hb_Route_Section() {
    if (entered_) {
        sembuf leave = {HB_SEM_READERS, -1, SEM_UNDO};
        semop(shm_sem_id, &leave, 1);
    }
}
