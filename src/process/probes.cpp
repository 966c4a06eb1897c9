#include "process/probes.h"

#include <winsock2.h>
#include <windows.h>

#include <chrono>
#include <optional>
#include <utility>
#include <winhttp.h>

#include "base/guarded.h"
#include "base/log.h"
#include "base/utf.h"
#include "base/winsock.h"
#include "process/cancellable_wait.h"
#include "process/connectivity.h"

namespace moorlak {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr DWORD kConnectTryMs = 200;
constexpr int32_t kPauseMs = 100;
constexpr int kHttpStepMs = 5000;
constexpr wchar_t kUserAgent[] = L"Moorlak/1.0";

struct HttpHandleTraits {
  using Type = HINTERNET;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type handle) noexcept { return handle != nullptr; }
  static void Close(Type handle) noexcept { WinHttpCloseHandle(handle); }
};
using HttpHandle = UniqueHandle<HttpHandleTraits>;

UniqueSocket SocketForATry() {
  UniqueSocket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  const auto* timeout = reinterpret_cast<const char*>(&kConnectTryMs);
  setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, timeout, sizeof(kConnectTryMs));
  setsockopt(socket.Get(), SOL_SOCKET, SO_SNDTIMEO, timeout, sizeof(kConnectTryMs));
  return socket;
}

// The two time-outs do not bound a connect, and Windows asks a closed loopback port again for up to two seconds: so the
// connect goes on in the background and is waited for.
bool CanConnect(uint16_t port) {
  const UniqueSocket socket = SocketForATry();
  u_long nonBlocking = 1;
  if (!socket || ioctlsocket(socket.Get(), static_cast<long>(FIONBIO), &nonBlocking) != 0) return false;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0) return true;
  if (WSAGetLastError() != WSAEWOULDBLOCK) return false;
  fd_set connected{1, {socket.Get()}};
  fd_set failed{1, {socket.Get()}};
  timeval limit{0, static_cast<long>(kConnectTryMs) * 1000};
  return select(0, nullptr, &connected, &failed, &limit) > 0 && connected.fd_count == 1;
}

enum class ListenOutcome { Listening, XrayExited, GaveUp };

ListenOutcome AwaitListener(const SessionWatch& session, uint16_t port, uint32_t timeoutMs) {
  const Clock::time_point deadline = Clock::now() + milliseconds(timeoutMs);
  while (session.running && Clock::now() < deadline) {
    if (session.xray() != EngineState::Running) return ListenOutcome::XrayExited;
    if (CanConnect(port)) return ListenOutcome::Listening;
    if (!WaitWhileRunning(session.running, kPauseMs)) break;
  }
  return ListenOutcome::GaveUp;
}

bool WaitForListener(const SessionWatch& session, uint16_t port, uint32_t timeoutMs) {
  if (port == 0) return false;
  const WinsockSession winsock;
  if (!winsock.started) {
    WriteLogLine("ERROR: WSAStartup failed while waiting for SOCKS");
    return false;
  }
  const std::string address = "127.0.0.1:" + std::to_string(port);
  const ListenOutcome outcome = AwaitListener(session, port, timeoutMs);
  if (outcome == ListenOutcome::Listening) {
    WriteLogLine("SOCKS listen ready on " + address);
    return session.running;
  }
  // A stop clears the flag before it ends the engines: neither their end nor the silent port is news then.
  if (!session.running) return false;
  WriteLogLine(outcome == ListenOutcome::XrayExited ? "ERROR: Xray exited while waiting for SOCKS listen"
                                                    : "ERROR: SOCKS not listening on " + address);
  return false;
}

// False when the session is to end; the request then stays with the caller.
bool Publish(const std::atomic<bool>& running, ProbeSlot& slot, HINTERNET request) {
  const std::lock_guard guard(slot.lock);
  if (!running) return false;
  slot.request = request;
  return true;
}

// False when the request was cancelled, and so closed, meanwhile.
bool Withdraw(ProbeSlot& slot) {
  const std::lock_guard guard(slot.lock);
  return std::exchange(slot.request, nullptr) != nullptr;
}

HttpHandle OpenHttpSession(const std::wstring& proxy) {
  if (proxy.empty()) {
    return HttpHandle(
        WinHttpOpen(kUserAgent, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0));
  }
  return HttpHandle(
      WinHttpOpen(kUserAgent, WINHTTP_ACCESS_TYPE_NAMED_PROXY, proxy.c_str(), WINHTTP_NO_PROXY_BYPASS, 0));
}

HttpHandle OpenGet(HINTERNET connection, const ProbeUrl& url) {
  HttpHandle request(WinHttpOpenRequest(connection, L"GET", WidenUtf8(url.path).c_str(), nullptr, WINHTTP_NO_REFERER,
                                        WINHTTP_DEFAULT_ACCEPT_TYPES, url.secure ? WINHTTP_FLAG_SECURE : 0));
  if (request && !WinHttpSetTimeouts(request.Get(), kHttpStepMs, kHttpStepMs, kHttpStepMs, kHttpStepMs)) {
    request.Reset();
  }
  return request;
}

bool ExchangeGet(HINTERNET request) {
  return WinHttpSendRequest(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0, 0, 0) &&
         WinHttpReceiveResponse(request, nullptr);
}

int64_t RunProbe(const std::atomic<bool>& running, ProbeSlot& slot, const std::wstring& proxy, const std::string& url) {
  const std::optional<ProbeUrl> parts = SplitProbeUrl(url);
  if (!parts) return -1;
  const HttpHandle session = OpenHttpSession(proxy);
  if (!session) return -1;
  const Clock::time_point begin = Clock::now();
  const HttpHandle connection(WinHttpConnect(session.Get(), WidenUtf8(parts->host).c_str(), parts->port, 0));
  if (!connection) return -1;
  HttpHandle request = OpenGet(connection.Get(), *parts);
  if (!request || !Publish(running, slot, request.Get())) return -1;
  const bool answered = ExchangeGet(request.Get());
  const Clock::time_point end = Clock::now();
  if (!Withdraw(slot)) {
    request.Release();
    return -1;
  }
  return answered ? std::chrono::duration_cast<milliseconds>(end - begin).count() : -1;
}

}  // namespace

bool WaitForSocksListen(const SessionWatch& session, uint16_t port, uint32_t timeoutMs) noexcept {
  return Guarded(false, [&] { return WaitForListener(session, port, timeoutMs); });
}

void CancelProbe(ProbeSlot& slot) noexcept {
  const std::lock_guard guard(slot.lock);
  const HttpHandle cancelled(std::exchange(slot.request, nullptr));
}

int64_t ProbeViaSocks(const std::atomic<bool>& running, ProbeSlot& slot, uint16_t socksPort,
                      const std::string& url) noexcept {
  if (socksPort == 0) return -1;
  return Guarded(int64_t{-1},
                 [&] { return RunProbe(running, slot, L"socks=127.0.0.1:" + std::to_wstring(socksPort), url); });
}

int64_t ProbeTunPath(const std::atomic<bool>& running, ProbeSlot& slot, const std::string& url) noexcept {
  return Guarded(int64_t{-1}, [&] { return RunProbe(running, slot, {}, url); });
}

}  // namespace moorlak
