#include "service/single_instance.h"

#include "base/log.h"
#include "base/trust.h"

namespace moorlak {
namespace {

constexpr wchar_t kInstanceMutexName[] = L"Global\\Moorlak_TunnelService";
// Anyone may read its owner, but no other user may wait for it: who can wait for a mutex can hold it.
constexpr wchar_t kInstanceAccess[] = L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;RC;;;WD)";

// Without the right to wait, only to read the owner.
KernelHandle OpenForALook() {
  return KernelHandle(OpenMutexW(READ_CONTROL, FALSE, kInstanceMutexName));
}

KernelHandle OpenInstanceMutex() {
  const auto descriptor = OwnedDescriptor(kInstanceAccess);
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  return KernelHandle(CreateMutexExW(&attributes, kInstanceMutexName, 0, READ_CONTROL | SYNCHRONIZE));
}

// An instance that has died leaves its mutex abandoned.
bool Take(HANDLE mutex) {
  const DWORD outcome = WaitForSingleObject(mutex, 0);
  return outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED;
}

}  // namespace

InstanceClaim::InstanceClaim() : mutex(OpenInstanceMutex()) {
  isOwned = mutex && Take(mutex.Get());
  if (!mutex) mutex = OpenForALook();
  const bool isAnothers = !isOwned && mutex && HasTrustedOwner(mutex.Get(), SE_KERNEL_OBJECT);
  isFirst = !isAnothers;
  if (isFirst && !isOwned) WriteLogLine("MoorlakTunnel: instance name held by another user, taken as free");
}

InstanceClaim::~InstanceClaim() {
  if (isOwned) ReleaseMutex(mutex.Get());
}

}  // namespace moorlak
