// SPDX-License-Identifier: Apache-2.0
// hb_client.hpp - the cluster heartbeat client library for C++17 programs
//
// Header-only, over hb_client.h and hb_watch.h. It starts no thread. Only result::value() throws; every header also
// compiles with -fno-exceptions and -fno-rtti. Link with -lhb_client, and for hb::watcher with -lhb_watch -lhb_client.
//
//   hb::watcher        watches the cluster and reports each death and each join once. It reconnects by itself: most
//                      programs need nothing else
//   hb::session        the library's session: queries of the configuration, control requests, subscriptions
//   hb::subscription   the nodes, adapters or sites that a program wants events for
//   hb::event_source   receives the events of a session, each an hb::event
//   hb::result, hb::error   what the functions return
//
// CONVENTIONS
//
//  1. A function that can fail returns an hb::result: a value or an hb::error. Error numbers in the comments are those of
//     hb_client.h, ERROR NUMBERS.
//  2. Sessions, event sources, watchers and guards own what they name. They can be moved, but not copied. One that was
//     moved from is closed: its functions fail with HB_ERROR_NOT_OPEN, and its ranges are empty.
//  3. Ranges ask for their elements one by one. They allocate nothing, and work in range-for and with the algorithms.
//  4. Threads, processes and signals: conventions 6 and 7 of hb_client.h, and CONVENTIONS of hb_watch.h.
//  5. Calls of the C interface and of these classes can be mixed. native() returns the records for that.
#ifndef HB_CLIENT_HPP
#define HB_CLIENT_HPP

#if __cplusplus < 201703L
#error "hb_client.hpp needs C++17: compile with -std=c++17 or later"
#endif

#include "hb/address.hpp"
#include "hb/configuration.hpp"
#include "hb/error.hpp"
#include "hb/event.hpp"
#include "hb/event_mask.hpp"
#include "hb/event_source.hpp"
#include "hb/numbers.hpp"
#include "hb/overload.hpp"
#include "hb/ranges.hpp"
#include "hb/report.hpp"
#include "hb/requests.hpp"
#include "hb/result.hpp"
#include "hb/session.hpp"
#include "hb/subscription.hpp"
#include "hb/subscription_guard.hpp"
#include "hb/text.hpp"
#include "hb/time.hpp"
#include "hb/watcher.hpp"

#endif
