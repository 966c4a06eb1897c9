// The settings for all tests of the whole protection, in whichever process they run. This program plays the engine,
// because its file exists.
#pragma once

#include "base/paths.h"
#include "base/utf.h"
#include "tunnel/protection.h"

namespace moorlak {

inline ProtectionRequest WantedProtection() {
  ProtectionRequest wanted;
  wanted.tunnelName = "Moorlak";
  wanted.dnsServers = {"203.0.113.7", "149.112.112.112"};
  wanted.xrayPath = NarrowUtf16(ExecutablePath());
  return wanted;
}

}  // namespace moorlak
