// Enumerations of filters, on plain values: the handle's creation takes a snapshot, which is returned in pages.
//
// Sources, pages of Microsoft Learn: "FwpmFilterCreateEnumHandle0", "FwpmFilterEnum0", "FwpmFilterDestroyEnumHandle0".
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "machine/state.h"

namespace moorlak::lab {

struct Enumerations {
  struct Enumeration {
    std::vector<WfpFilter> filters;
    size_t next = 0;
  };
  uint64_t nextHandle = 1;
  std::map<uint64_t, Enumeration> open;
};

uint64_t CreateEnumeration(Enumerations& enumerations, const Wfp& wfp);

// Takes at most `requested` of the remaining filters; none at the end. Returns FWP_E_INVALID_ENUMERATOR for a handle
// that is not open.
uint32_t TakePage(Enumerations& enumerations, uint64_t handle, uint32_t requested, std::vector<WfpFilter>& page);

uint32_t DestroyEnumeration(Enumerations& enumerations, uint64_t handle);

}  // namespace moorlak::lab
