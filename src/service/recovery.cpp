#include "service/recovery.h"

#include "proxy/system_proxy.h"

namespace moorlak {

void RecoverEarlierSession() noexcept {
  RestoreSystemProxy();
}

}  // namespace moorlak
