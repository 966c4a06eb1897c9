// The session's changes to the machine's routes, kept on disk while they may stand, so that they can be undone exactly:
// after a session and after a crash. One journal per process; every operation takes its own lock.
#pragma once

#include "net/routing/route_plan.h"

namespace moorlak {

// To be called before the routes to the destination are removed and this one is added. False when it is not known which
// routes there are: they must then not be removed.
bool JournalReplacement(const GatewayRoute& route) noexcept;

// Removes what the session added and puts back what it took away; what the system refuses is kept for the next time.
// Does nothing without a journal.
void RestoreJournaledRoutes() noexcept;

// At the start of the service: the same with the journal that a crash left.
void RecoverJournaledRoutes() noexcept;

}  // namespace moorlak
