// Which handles a child process may inherit.
#pragma once

#include <functional>
#include <vector>

namespace moorlak {

// The handles allowed in a PROC_THREAD_ATTRIBUTE_HANDLE_LIST, in the order given. Leaves out null,
// INVALID_HANDLE_VALUE, duplicates and those that the test refuses (unreadable or not inheritable), because
// CreateProcessW fails with ERROR_INVALID_PARAMETER for each of them ("UpdateProcThreadAttribute function" on Microsoft
// Learn). If the result is empty, the attribute itself must be left out.
std::vector<void*> InheritableHandles(const std::vector<void*>& wanted,
                                      const std::function<bool(void*)>& isInheritable);

}  // namespace moorlak
