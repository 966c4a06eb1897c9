// WinHTTP's handles: numbers that are never reused, so that a closed one is recognised. A child keeps what it needs
// from its parents, which may be closed first. Results are the system's error codes.
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

// Milliseconds; 0 and -1 mean no limit ("WinHttpSetTimeouts function" on Microsoft Learn, with its defaults).
struct Timeouts {
  int resolve = 0;
  int connect = 60000;
  int send = 30000;
  int receive = 30000;
};

struct HttpSession {
  std::string agent;
  // From WINHTTP_FLAG_ASYNC: its requests' calls return at once, and callbacks report their completion.
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

// How an asynchronous request reports the completion of its calls. Guarded by `lock`, which no callback runs under.
struct Notices {
  std::mutex lock;
  WINHTTP_STATUS_CALLBACK callback = nullptr;
  DWORD wanted = 0;
  DWORD_PTR context = 0;
  // Number of threads that work on the request. The closing is reported after the last of them.
  uint32_t workers = 0;
  bool closed = false;
};

struct HttpRequest {
  HttpTarget target;
  std::string agent;
  uint16_t socksPort = 0;
  // None of these three changes after the handle has been returned.
  HINTERNET handle = nullptr;
  bool asynchronous = false;
  DWORD openedBy = GetCurrentThreadId();
  Notices notices;
  // Guarded by the handles' lock.
  Timeouts timeouts;
  // Set when the handle is closed: ends every wait.
  KernelHandle closed{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
  // Busy: a call is working on the request and on its wire.
  enum class Stage { New, Busy, Sent, Answered };
  std::atomic<Stage> stage = Stage::New;
  WinsockSession winsock;
  Wire wire;

  bool IsClosed() const { return WaitForSingleObject(closed.Get(), 0) == WAIT_OBJECT_0; }
};

HINTERNET KeepHandle(std::shared_ptr<HttpSession> session);
HINTERNET KeepHandle(std::shared_ptr<HttpConnection> connection);
HINTERNET KeepHandle(std::shared_ptr<HttpRequest> request);

// Returns ERROR_INVALID_HANDLE if the handle is not open, ERROR_WINHTTP_INCORRECT_HANDLE_TYPE if it is of another kind.
DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpSession>& session);
DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpConnection>& connection);
DWORD FindHandle(HINTERNET handle, std::shared_ptr<HttpRequest>& request);

// Closes a handle and ends every wait on a request. Sets `request` if the handle was a request's.
DWORD CloseHttpHandle(HINTERNET handle, std::shared_ptr<HttpRequest>& request);

// Whether the handle, now closed, was a request's.
bool WasRequest(HINTERNET handle);

// For a session or a request; a connection has no timeouts.
DWORD SetTimeouts(HINTERNET handle, const Timeouts& timeouts);
Timeouts TimeoutsOf(const HttpSession& session);
Timeouts TimeoutsOf(const HttpRequest& request);

}  // namespace moorlak::lab
