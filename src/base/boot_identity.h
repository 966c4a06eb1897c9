// Identifies the current start of the system.
#pragma once

#include <cstdint>

namespace moorlak {

// The same number in every process until the next restart, even if the clock is changed; 0 if it cannot be read or
// made. It is kept in a volatile registry key ("RegCreateKeyExW" on Microsoft Learn: REG_OPTION_VOLATILE): the first
// caller creates it, and a restart discards it. A shutdown with Fast Startup is not a restart: the system resumes with
// what it had in memory, including routes and volatile keys.
uint64_t BootIdentity() noexcept;

}  // namespace moorlak
