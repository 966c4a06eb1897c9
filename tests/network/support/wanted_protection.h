// What the tests of the whole protection ask for, in whichever process they do. This program stands for the engine: its
// file exists.
#pragma once

#include "base/paths.h"
#include "base/utf.h"
#include "tunnel/leak_protection.h"

namespace moorlak {

inline LeakProtection WantedProtection() {
  LeakProtection wanted;
  wanted.tunnelName = "Moorlak";
  wanted.dnsServers = {"203.0.113.7", "149.112.112.112"};
  wanted.xrayPath = NarrowUtf16(ExecutablePath());
  return wanted;
}

}  // namespace moorlak
