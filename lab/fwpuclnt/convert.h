// Converts the structures of the calls to the machine's plain values and back.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <cstdint>
#include <fwpmu.h>
#include <string>

#include "machine/state.h"

namespace moorlak::lab {

// With braces, in capitals.
std::string KeyText(const GUID& key);
// The inverse of KeyText; the null GUID for any other text.
GUID KeyFromText(const std::string& text);

// Empty if the name is missing.
std::string DisplayName(const FWPM_DISPLAY_DATA0& display);

// Reads a filter without its session and id. Returns FWP_E_NULL_POINTER if a required pointer is null.
uint32_t ReadFilter(const FWPM_FILTER0& filter, WfpFilter& read);

}  // namespace moorlak::lab
