#include <winsock2.h>
#include <windows.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>
#include <winhttp.h>

#include "base/guarded.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/utf.h"
#include "base/winsock.h"
#include "process/cancellable_wait.h"
#include "process/probes.h"

namespace moorlak {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr DWORD kConnectTryMs = 200;
constexpr int32_t kPauseMs = 100;
constexpr int kHttpStepMs = 5000;
constexpr wchar_t kUserAgent[] = L"Moorlak/1.0";

using HttpHandle = UniqueHandle<HINTERNET, WinHttpCloseHandle>;

}  // namespace

// One asynchronous request ("Asynchronous Completion in WinHTTP" on Microsoft Learn). WinHTTP holds its own reference,
// the callback's context, until it has reported the closing of the handle; until then it may report other events.
struct ProbeRequest {
  enum class Stage { Sending, Sent, Answered, Failed };

  HINTERNET handle = nullptr;
  DWORD_PTR context = 0;
  std::atomic<Stage> stage = Stage::Sending;
  // Signalled after each change of the stage.
  KernelHandle changed{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

namespace {

using Stage = ProbeRequest::Stage;
using SharedRequest = std::shared_ptr<ProbeRequest>;

UniqueSocket SocketForATry() {
  UniqueSocket socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
  const auto* timeout = reinterpret_cast<const char*>(&kConnectTryMs);
  setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, timeout, sizeof(kConnectTryMs));
  setsockopt(socket.Get(), SOL_SOCKET, SO_SNDTIMEO, timeout, sizeof(kConnectTryMs));
  return socket;
}

// The two time-outs do not limit a connect, and Windows retries a closed loopback port for up to two seconds. So the
// connect is non-blocking and waited for.
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
  // A stop clears the flag before it ends the engines: their end and the silent port are then expected.
  if (!session.running) return false;
  WriteLogLine(outcome == ListenOutcome::XrayExited ? "ERROR: Xray exited while waiting for SOCKS listen"
                                                    : "ERROR: SOCKS not listening on " + address);
  return false;
}

void Enter(ProbeRequest& request, Stage stage) {
  request.stage = stage;
  SetEvent(request.changed.Get());
}

// Called by WinHTTP, on its own threads and from within calls, so it takes no lock.
void CALLBACK OnHttpStatus(HINTERNET, DWORD_PTR context, DWORD status, void*, DWORD) noexcept {
  auto* own = reinterpret_cast<SharedRequest*>(context);
  if (own == nullptr) return;
  if (status == WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE) Enter(**own, Stage::Sent);
  if (status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE) Enter(**own, Stage::Answered);
  if (status == WINHTTP_CALLBACK_STATUS_REQUEST_ERROR) Enter(**own, Stage::Failed);
  // The last callback.
  if (status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING) delete own;
}

// Gives WinHTTP its reference and sets the callback that releases it.
bool GiveContext(HINTERNET handle, const SharedRequest& request) {
  constexpr DWORD kWanted = WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS | WINHTTP_CALLBACK_FLAG_HANDLES;
  if (WinHttpSetStatusCallback(handle, OnHttpStatus, kWanted, 0) == WINHTTP_INVALID_STATUS_CALLBACK) return false;
  auto own = std::make_unique<SharedRequest>(request);
  request->context = reinterpret_cast<DWORD_PTR>(own.get());
  if (!WinHttpSetOption(handle, WINHTTP_OPTION_CONTEXT_VALUE, &request->context, sizeof(request->context))) {
    return false;
  }
  static_cast<void>(own.release());
  return true;
}

// Puts the request into the slot and sends it; false if the session is ending or sending fails at once.
bool Send(const std::atomic<bool>& running, ProbeSlot& slot, HttpHandle handle, const SharedRequest& request) {
  const MutexGuard guard(slot.lock);
  if (!running) return false;
  request->handle = handle.Release();
  slot.request = request;
  return WinHttpSendRequest(request->handle, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0, 0,
                            request->context);
}

// False if the request was cancelled, and so closed, meanwhile.
bool Receive(ProbeSlot& slot, const ProbeRequest& request) {
  const MutexGuard guard(slot.lock);
  return slot.request != nullptr && WinHttpReceiveResponse(request.handle, nullptr);
}

// Waits until the request has left the stage, and returns whether it reached the next one. The request's time-outs end
// each stage; the limit is for a system that does not report this.
bool LeavesFor(ProbeRequest& request, Stage stage, Stage next) {
  constexpr DWORD kLimitMs = 4 * kHttpStepMs;
  bool notified = true;
  while (notified && request.stage == stage) {
    notified = WaitForSingleObject(request.changed.Get(), kLimitMs) == WAIT_OBJECT_0;
  }
  return request.stage == next;
}

// Closing cancels a request, but WinHTTP may report it late, so the probe does not wait for that. False if another
// thread has closed it.
bool CloseRequest(ProbeSlot& slot) {
  SharedRequest request;
  {
    const MutexGuard guard(slot.lock);
    request.swap(slot.request);
  }
  if (!request) return false;
  WinHttpCloseHandle(request->handle);
  Enter(*request, Stage::Failed);
  return true;
}

HttpHandle OpenHttpSession(const std::wstring& proxy) {
  if (proxy.empty()) {
    return HttpHandle(WinHttpOpen(kUserAgent, WINHTTP_ACCESS_TYPE_NO_PROXY, WINHTTP_NO_PROXY_NAME,
                                  WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC));
  }
  return HttpHandle(WinHttpOpen(kUserAgent, WINHTTP_ACCESS_TYPE_NAMED_PROXY, proxy.c_str(), WINHTTP_NO_PROXY_BYPASS,
                                WINHTTP_FLAG_ASYNC));
}

HttpHandle OpenGet(HINTERNET connection, const ProbeUrl& url) {
  HttpHandle request(WinHttpOpenRequest(connection, L"GET", WidenUtf8(url.path).c_str(), nullptr, WINHTTP_NO_REFERER,
                                        WINHTTP_DEFAULT_ACCEPT_TYPES, url.secure ? WINHTTP_FLAG_SECURE : 0));
  if (request && !WinHttpSetTimeouts(request.Get(), kHttpStepMs, kHttpStepMs, kHttpStepMs, kHttpStepMs)) {
    request.Reset();
  }
  return request;
}

bool ExchangeGet(const std::atomic<bool>& running, ProbeSlot& slot, HttpHandle handle, const SharedRequest& request) {
  return Send(running, slot, std::move(handle), request) && LeavesFor(*request, Stage::Sending, Stage::Sent) &&
         Receive(slot, *request) && LeavesFor(*request, Stage::Sent, Stage::Answered);
}

int64_t RunProbe(const std::atomic<bool>& running, ProbeSlot& slot, const std::wstring& proxy, const std::string& url) {
  const std::optional<ProbeUrl> parts = SplitProbeUrl(url);
  if (!parts) return -1;
  const HttpHandle session = OpenHttpSession(proxy);
  if (!session) return -1;
  const Clock::time_point begin = Clock::now();
  const HttpHandle connection(WinHttpConnect(session.Get(), WidenUtf8(parts->host).c_str(), parts->port, 0));
  if (!connection) return -1;
  HttpHandle handle = OpenGet(connection.Get(), *parts);
  const auto request = std::make_shared<ProbeRequest>();
  if (!handle || !request->changed || !GiveContext(handle.Get(), request)) return -1;
  const bool answered = ExchangeGet(running, slot, std::move(handle), request);
  const Clock::time_point end = Clock::now();
  if (!CloseRequest(slot)) return -1;
  return answered ? std::chrono::duration_cast<milliseconds>(end - begin).count() : -1;
}

}  // namespace

bool WaitForSocksListen(const SessionWatch& session, uint16_t port, uint32_t timeoutMs) noexcept {
  return Guarded(false, [&] { return WaitForListener(session, port, timeoutMs); });
}

void CancelProbe(ProbeSlot& slot) noexcept {
  CloseRequest(slot);
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
