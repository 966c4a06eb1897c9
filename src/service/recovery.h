// What an earlier session that ended in a crash has left behind is put back before the first command can arrive.
#pragma once

namespace moorlak {

void RecoverEarlierSession() noexcept;

}  // namespace moorlak
