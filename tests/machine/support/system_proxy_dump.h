// The system proxy as a user and other programs see it, read and written without the product's code.
//
// WinINet keeps these settings per calling account. Under Wine the service runs as the tests' user, so one
// HKEY_CURRENT_USER shows both sides. What this does not show: on Windows the service is LocalSystem, and changing
// LocalSystem's settings does not change the signed-in user's.
#pragma once

#include <windows.h>

#include <optional>
#include <ostream>
#include <string>

namespace moorlak::machine {

// The per-connection options of the LAN connection; texts are UTF-8.
struct ProxyOptions {
  DWORD flags = 0;
  std::optional<std::string> server;
  std::optional<std::string> bypass;
  std::optional<std::string> pacUrl;

  bool operator==(const ProxyOptions&) const = default;
};
// For messages of failed tests.
void PrintTo(const ProxyOptions& options, std::ostream* out);

// The settings according to the system's WinINet. Wine's keeps less than Windows' does: no exception list, and only the
// flags "proxy" and "configuration address" (lab/wininet keeps everything).
ProxyOptions ReadProxyOptions();

// Sets all four in one call, as the system's dialog does.
void WriteProxyOptions(const ProxyOptions& options);

// Every value under the user's "Internet Settings", recursively, and the options. One comparison shows whether
// everything is as before.
std::string DumpSystemProxy();

// "No proxy", with no value left from an earlier one, as in a new account.
void ResetSystemProxy();

}  // namespace moorlak::machine
