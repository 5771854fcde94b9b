// SPDX-License-Identifier: Apache-2.0
// The daemon's shared segments and semaphores, attached read-only.
#pragma once

#include "lib/wire/hb_wire.h"

extern int shm_id[3];
extern int shm_sem_id;
extern const Hb_memory_configuration_data *data_for_client; // segment 1; null while not attached
extern const Hb_route_sequence *shared_route_info;          // segment 2
extern const Hb_security_information *security_info;        // segment 3

// Attaches the three segments and opens the semaphore set. Earlier attachments are removed first. Errors:
// HB_ERROR_NO_CONFIG_SEGMENT_KEY (28) to HB_ERROR_SEMAPHORE_FAILED (48), HB_ERROR_NO_SECURITY_SEGMENT_KEY (54).
Hb_Rc hb_init_shared_memory();

// Detaches all attached segments. Safe when none is attached.
void hb_detach_shared_memory();

// Returns the number of records in the attached route segment, or 0. Segment 1 may have grown since it was
// attached.
uint32_t hb_attached_route_slots();
