#include "process/name_resolution.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <windows.h>

#include <algorithm>
#include <memory>

#include "base/guarded.h"
#include "base/ipv4.h"
#include "base/utf.h"
#include "base/winsock.h"
#include "text/text_scan.h"

namespace moorlak {
namespace {

using AddressList = std::unique_ptr<ADDRINFOW, decltype(&FreeAddrInfoW)>;

AddressList LookUp(const std::string& host) {
  ADDRINFOW hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  ADDRINFOW* found = nullptr;
  if (GetAddrInfoW(WidenUtf8(host).c_str(), nullptr, &hints, &found) != 0) found = nullptr;
  return {found, &FreeAddrInfoW};
}

std::vector<std::string> Resolve(const std::string& host) {
  if (host.empty()) return {};
  if (IsDottedQuad(host)) return {host};
  const WinsockSession winsock;
  if (!winsock.started) return {};
  return AddressTexts(LookUp(host).get());
}

}  // namespace

std::vector<std::string> AddressTexts(const ADDRINFOW* list) {
  std::vector<std::string> addresses;
  for (const ADDRINFOW* entry = list; entry != nullptr; entry = entry->ai_next) {
    const auto* found = reinterpret_cast<const sockaddr_in*>(entry->ai_addr);
    std::string address = Ipv4Text(FromNetworkOrder(found->sin_addr.s_addr));
    if (std::ranges::find(addresses, address) == addresses.end()) addresses.push_back(std::move(address));
  }
  return addresses;
}

std::vector<std::string> ResolveServerIPv4(const std::string& host) noexcept {
  return Guarded({}, [&] { return Resolve(host); });
}

}  // namespace moorlak
