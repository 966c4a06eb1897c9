// A start of the whole system.
#pragma once

namespace moorlak::lab {

// Reboots the machine (machine/machine.h) and deletes what the registry would lose: volatile keys below
// HKEY_LOCAL_MACHINE\SOFTWARE whose names begin with "Moorlak". Wine itself keeps them as long as its server runs. No
// program of the product may be running.
void RestartSystem();

}  // namespace moorlak::lab
