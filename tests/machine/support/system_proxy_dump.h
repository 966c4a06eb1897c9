// The system proxy as a user and other programs see it, read and written without the product's code.
//
// WinINet keeps these settings for the account that calls. Under Wine the service runs as the same user as the tests,
// so one HKEY_CURRENT_USER shows both sides. What that does not show: on Windows the service is LocalSystem, and a
// change of LocalSystem's settings is not a change of the signed-in user's.
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

// What the system's WinINet tells. Wine's keeps less than Windows' does: no exception list, of the flags only "proxy"
// and "configuration address" (lab/wininet keeps everything).
ProxyOptions ReadProxyOptions();

// Sets all four in one call, as the system's own dialog does.
void WriteProxyOptions(const ProxyOptions& options);

// Every value below the user's "Internet Settings", recursively, and the options: "as before" is one comparison.
std::string DumpSystemProxy();

// "No proxy", and no value left of an earlier one: what a fresh account has.
void ResetSystemProxy();

}  // namespace moorlak::machine
