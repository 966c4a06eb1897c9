#include "service/single_instance.h"

#include "base/log.h"
#include "base/trust.h"

namespace moorlak {
namespace {

constexpr wchar_t kInstanceMutexName[] = L"Global\\Moorlak_TunnelService";
// Everybody may look at it, so that a second instance under another account can tell whose it is.
constexpr wchar_t kInstanceAccess[] = L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;RC;;;WD)";

}  // namespace

InstanceClaim ClaimInstance() {
  const auto descriptor = OwnedDescriptor(kInstanceAccess);
  SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
  InstanceClaim claim;
  claim.mutex = KernelHandle(CreateMutexExW(&attributes, kInstanceMutexName, 0, READ_CONTROL));
  const DWORD error = GetLastError();
  if (claim.mutex && error != ERROR_ALREADY_EXISTS) {
    claim.isFirst = true;
    return claim;
  }
  if (claim.mutex && HasTrustedOwner(claim.mutex.Get(), SE_KERNEL_OBJECT)) return claim;
  WriteLogLine("MoorlakTunnel: instance name held by another user, taken as free");
  claim.isFirst = true;
  return claim;
}

}  // namespace moorlak
