// Which start of the system this is.
#pragma once

#include <cstdint>

namespace moorlak {

// A number that all processes are told from one start of the system to the next, whatever becomes of its clock; 0 when
// it cannot be told. It stands in a volatile registry key ("RegCreateKeyExW" on Microsoft Learn: REG_OPTION_VOLATILE),
// which the first caller makes and a restart forgets. A shutdown with Fast Startup is no restart: the system goes on
// with what it had in memory, its routes and volatile keys among it.
uint64_t BootIdentity() noexcept;

}  // namespace moorlak
