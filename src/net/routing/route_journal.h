// The session's changes to the machine's routes, kept on disk while they may stand, so that they can be undone exactly:
// after a session and after a crash. One journal per process; every operation takes its own lock.
#pragma once

#include <vector>

#include "net/routing/route_plan.h"

namespace moorlak {

// To be called before the routes to the destination are removed and this one is added. False when it is not known which
// routes there are: they must then not be removed, and only JournalAdded makes this one the session's.
bool JournalReplacement(const GatewayRoute& route) noexcept;

// The same for all of a list at once, with one write of the file, which costs a flush of the disk: to be called before
// the first of them. Each is journalled once more before its own turn, which writes only what has come since.
void JournalReplacements(const std::vector<GatewayRoute>& routes) noexcept;

// The route was added. Nothing new where it was journalled before.
void JournalAdded(const GatewayRoute& route) noexcept;

// Removes what the session added and puts back what it took away, as far as the machine's network is still the same: a
// route that cannot come back is dropped, with a line, unless the system itself had stored it; that one waits. What the
// system refuses is kept for the next time. Does nothing without a journal.
void RestoreJournaledRoutes() noexcept;

// At the start of the service: the same with the journal that a crash left. After a restart of the system only what it
// had stored is put back.
void RecoverJournaledRoutes() noexcept;

}  // namespace moorlak
