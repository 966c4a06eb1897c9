#include "process/handle_list.h"

#include <algorithm>
#include <cstdint>

namespace moorlak {
namespace {

// INVALID_HANDLE_VALUE is also the pseudo handle of the current process, so the system would accept it.
bool IsInvalidHandleValue(const void* handle) {
  return reinterpret_cast<std::intptr_t>(handle) == -1;
}

}  // namespace

std::vector<void*> InheritableHandles(const std::vector<void*>& wanted,
                                      const std::function<bool(void*)>& isInheritable) {
  std::vector<void*> list;
  for (void* handle : wanted) {
    if (handle == nullptr || IsInvalidHandleValue(handle)) continue;
    if (std::find(list.begin(), list.end(), handle) != list.end()) continue;
    if (isInheritable(handle)) list.push_back(handle);
  }
  return list;
}

}  // namespace moorlak
