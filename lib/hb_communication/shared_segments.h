// The daemon's shared segments and semaphores, attached read-only.
#ifndef HB_SHARED_SEGMENTS_H
#define HB_SHARED_SEGMENTS_H

#include "lib/wire/hb_wire.h"

extern int shm_id[3];
extern int shm_sem_id;
extern const Hb_memory_configuration_data *data_for_client; // segment 1, null while not attached
extern const Hb_route_sequence *shared_route_info;          // segment 2
extern const Hb_security_information *security_info;        // segment 3

// Attaches the three segments and opens the semaphore set, after detaching what was attached before.
// Errors: HB_ERROR_NO_CONFIG_SEGMENT_KEY (28) to HB_ERROR_SEMAPHORE_FAILED (48), HB_ERROR_NO_SECURITY_SEGMENT_KEY (54).
Hb_Rc hb_init_shared_memory();

// Detaches what is attached; safe when nothing is.
void hb_detach_shared_memory();

// Records in the attached route segment; 0 while it is not attached. Segment 1 may have grown since.
uint32_t hb_attached_route_slots();

#endif
