// Which handles a child process may inherit.
#pragma once

#include <functional>
#include <vector>

namespace moorlak {

// The handles that may stand in a PROC_THREAD_ATTRIBUTE_HANDLE_LIST, in the order given: null, INVALID_HANDLE_VALUE,
// repeated ones and those that the test refuses (unreadable or not inheritable) are left out, because CreateProcessW
// fails with ERROR_INVALID_PARAMETER for each of them (Microsoft Learn, "UpdateProcThreadAttribute function"). An
// answer without handles means that the attribute itself must be left out.
std::vector<void*> InheritableHandles(const std::vector<void*>& wanted,
                                      const std::function<bool(void*)>& isInheritable);

}  // namespace moorlak
