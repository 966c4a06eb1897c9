// What an earlier session that ended in a crash has left behind is put back before the first command can arrive.
#pragma once

namespace moorlak {

// Brings the persistent adapter up first; false when it is not there. That is no failure of the service: the next
// disconnect tries again.
bool RecoverEarlierSession() noexcept;

}  // namespace moorlak
