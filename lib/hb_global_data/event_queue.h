// SPDX-License-Identifier: Apache-2.0
// The queue of events in cluster-event mode, first in, first out, and its sequence counter.
#pragma once

#include <pthread.h>

#include "lib/base/mutex_cleanup.h"
#include "lib/hb_global_data/mox_event.h"

extern MOX_Event *event_queue_list;                         // head
extern int event_sequence;                                  // the next number to assign
extern pthread_mutex_t event_queue_list_and_sequence_mutex; // guards both

// Runs `work` with the queue locked. A thread that is cancelled inside leaves nothing locked.
template <typename Work> void MOX_with_queue_locked(Work work) {
    pthread_cleanup_push(mutex_cleanup_handler, &event_queue_list_and_sequence_mutex);
    pthread_mutex_lock(&event_queue_list_and_sequence_mutex);
    work();
    pthread_mutex_unlock(&event_queue_list_and_sequence_mutex);
    pthread_cleanup_pop(0);
}

// Lets a forked child use the queue even if another thread held it. Must be called before the first event.
void MOX_keep_queue_usable_after_fork();

int hb_mox_next_event_sequence();

// Gives the event the next sequence number and becomes its owner. Null is ignored.
void MOX_add_event_at_end(MOX_Event *ev);

// Removes and returns the head, which the caller must delete. Null: the queue is empty.
MOX_Event *MOX_get_event_from_head();

int MOX_event_queue_is_empty();

// Traces the queued events.
void MOX_display_event_list();
