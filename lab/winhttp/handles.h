// WinHTTP's handles: numbers that are never given out twice, so that a closed one is known as such. A child keeps what
// it needs of its parents, which may be closed before it. Results are the system's error codes.
#pragma once

#include <winsock2.h>
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <winhttp.h>

#include "base/handle.h"
#include "base/winsock.h"
#include "winhttp/messages.h"
#include "winhttp/wire.h"

namespace moorlak::lab {

// Milliseconds; 0 and -1 are for ever ("WinHttpSetTimeouts function" on Microsoft Learn, with its defaults).
struct Timeouts {
  int resolve = 0;
  int connect = 60000;
  int send = 30000;
  int receive = 30000;
};

struct HttpSession {
  std::string agent;
  // Of WINHTTP_FLAG_ASYNC: its requests' calls return at once, their ends are told by callbacks.
  bool asynchronous = false;
  // 0: no proxy.
  uint16_t socksPort = 0;
  // Guarded by the handles' lock.
  Timeouts timeouts;
};

struct HttpConnection {
  std::shared_ptr<HttpSession> session;
  std::string host;
  // INTERNET_DEFAULT_PORT: the scheme's.
  uint16_t port = 0;
};

// How the ends of an asynchronous request's calls are told. Guarded by its lock, which no callback is made within.
struct Notices {
  std::mutex lock;
  WINHTTP_STATUS_CALLBACK callback = nullptr;
  DWORD wanted = 0;
  DWORD_PTR context = 0;
  // Threads that work on the request: the closing is told behind the last of them.
  uint32_t workers = 0;
  bool closed = false;
};

struct HttpRequest {
  HttpTarget target;
  std::string agent;
  uint16_t socksPort = 0;
  // None of these three changes once somebody has the handle.
  HINTERNET handle = nullptr;
  bool asynchronous = false;
  DWORD openedBy = GetCurrentThreadId();
  Notices notices;
  // Guarded by the handles' lock.
  Timeouts timeouts;
  // Set when the handle is closed: whatever waits then ends.
  KernelHandle closed{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  // Busy: a call works on the request, and on its wire.
  enum class Stage { New, Busy, Sent, Answered };
  std::atomic<Stage> stage = Stage::New;
  WinsockSession winsock;
  Wire wire;

  bool IsClosed() const { return WaitForSingleObject(closed.Get(), 0) == WAIT_OBJECT_0; }
};

HINTERNET KeepHandle(std::shared_ptr<HttpSession> session);
HINTERNET KeepHandle(std::shared_ptr<HttpConnection> connection);
HINTERNET KeepHandle(std::shared_ptr<HttpRequest> request);

// ERROR_INVALID_HANDLE for what is no open handle, ERROR_WINHTTP_INCORRECT_HANDLE_TYPE for one of another kind.
DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpSession>& session);
DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpConnection>& connection);
DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpRequest>& request);

// Ends whatever waits on a request. `request` gets the request that the handle was, and stays empty for another kind.
DWORD CloseHttpHandle(HINTERNET handle, std::shared_ptr<HttpRequest>& request);

// The handle was a request's.
bool WasRequest(HINTERNET handle);

// Of a session or a request; a connection has none.
DWORD SetTimeouts(HINTERNET handle, const Timeouts& timeouts);
Timeouts TimeoutsOf(const HttpSession& session);
Timeouts TimeoutsOf(const HttpRequest& request);

}  // namespace moorlak::lab
