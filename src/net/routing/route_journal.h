// The session's changes to the machine's routes, kept on disk while they may be in effect, so that they can be undone
// exactly: after a session and after a crash. One journal per process; every operation takes the journal's lock.
#pragma once

#include <vector>

#include "net/routing/route_plan.h"

namespace moorlak {

// Call before the routes to the destination are removed and this one is added. False if the existing routes are not
// known: then they must not be removed, and only JournalAdded records this route as the session's.
bool JournalReplacement(const GatewayRoute& route) noexcept;

// The same for a whole list, with one write of the file, which costs a disk flush; call before changing the first of
// them. Each route is journaled again at its turn, which writes only what is new since then.
void JournalReplacements(const std::vector<GatewayRoute>& routes) noexcept;

// The route was added. No change if it was already journaled.
void JournalAdded(const GatewayRoute& route) noexcept;

// Removes what the session added and puts back what it removed, as far as the machine's network is still the same. A
// route that cannot come back is dropped and logged; but if the system itself had stored it, it is kept for later. What
// the system refuses is kept for the next time. Does nothing without a journal.
void RestoreJournaledRoutes() noexcept;

// At the start of the service: the same with the journal that a crash left. After a restart of the system only routes
// that it had stored are put back.
void RecoverJournaledRoutes() noexcept;

}  // namespace moorlak
