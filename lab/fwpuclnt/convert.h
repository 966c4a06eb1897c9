// From the structures of the calls to the machine's plain values and back.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <cstdint>
#include <fwpmu.h>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// Braces and capitals.
std::string KeyText(const GUID& key);
// The opposite, for texts that KeyText made; anything else gives the null GUID.
GUID KeyFromText(const std::string& text);

// Empty for a missing name.
std::string DisplayName(const FWPM_DISPLAY_DATA0& display);

// Reads a filter without its session and id. Pointers that must be there and are not give FWP_E_NULL_POINTER.
uint32_t ReadFilter(const FWPM_FILTER0& filter, WfpFilter& read);

}  // namespace moorlak::lab
