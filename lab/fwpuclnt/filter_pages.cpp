#include "fwpuclnt/filter_pages.h"

#include <algorithm>

#include "fwpuclnt/objects.h"

namespace moorlak::lab {

uint64_t CreateEnumeration(Enumerations& enumerations, const Wfp& wfp) {
  const uint64_t handle = enumerations.nextHandle++;
  enumerations.open[handle].filters = wfp.filters;
  return handle;
}

uint32_t TakePage(Enumerations& enumerations, uint64_t handle, uint32_t requested, std::vector<WfpFilter>& page) {
  const auto found = enumerations.open.find(handle);
  if (found == enumerations.open.end()) return kInvalidEnumerator;
  auto& [filters, next] = found->second;
  const size_t end = next + std::min<size_t>(requested, filters.size() - next);
  page.assign(filters.begin() + static_cast<std::ptrdiff_t>(next), filters.begin() + static_cast<std::ptrdiff_t>(end));
  next = end;
  return 0;
}

uint32_t DestroyEnumeration(Enumerations& enumerations, uint64_t handle) {
  return enumerations.open.erase(handle) != 0 ? 0 : kInvalidEnumerator;
}

}  // namespace moorlak::lab
