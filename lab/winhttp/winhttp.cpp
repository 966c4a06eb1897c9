// Stand-in for winhttp.dll: GET requests without headers and bodies, synchronous or asynchronous. Everything else that
// the system offers is refused and counted as unknown. Uses that the system forbids but that may happen to work are
// counted there, too: closing a synchronous request from another thread, and calls with a request's closed handle.
#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <winhttp.h>

#include "base/utf.h"
#include "machine/machine.h"
#include "winhttp/background.h"
#include "winhttp/exchange.h"
#include "winhttp/handles.h"

namespace moorlak::lab {
namespace {

constexpr DWORD kSecure = WINHTTP_FLAG_SECURE;
constexpr DWORD kAsynchronous = WINHTTP_FLAG_ASYNC;
constexpr DWORD kKnownRequestFlags = kSecure | WINHTTP_FLAG_ESCAPE_PERCENT | WINHTTP_FLAG_NULL_CODEPAGE |
                                     WINHTTP_FLAG_ESCAPE_DISABLE | WINHTTP_FLAG_ESCAPE_DISABLE_QUERY |
                                     WINHTTP_FLAG_BYPASS_PROXY_CACHE;
constexpr size_t kLongestHost = 255;

using Stage = HttpRequest::Stage;

// What an exported function returns. An exception means that the lab failed, and ends the program.
template <typename Call>
BOOL Answer(const Call& call) noexcept {
  const DWORD error = call();
  SetLastError(error);
  return error == NO_ERROR;
}

template <typename Call>
HINTERNET AnswerHandle(const Call& call) noexcept {
  HINTERNET handle = nullptr;
  const DWORD error = call(handle);
  SetLastError(error);
  return handle;
}

// For a use that Windows supports and the lab does not.
DWORD RefuseUnknown(const std::string& function, const std::string& what) {
  return RunCall({function, what}, [&](MachineState& state) -> uint32_t {
    state.record.unknownCommands.push_back(function + " " + what);
    return ERROR_CALL_NOT_IMPLEMENTED;
  });
}

void CountForbidden(const std::string& function, const std::string& what) {
  RunCall({function, what}, [&](MachineState& state) -> uint32_t {
    state.record.unknownCommands.push_back(function + " " + what);
    return NO_ERROR;
  });
}

// Finds the object that a call works on. After a handle was closed, no thread may use it ("WinHttpCloseHandle
// function"), so such a call counts as forbidden; that it fails here cannot be relied on.
template <typename Wanted>
DWORD FindFor(const std::string& function, HINTERNET handle, Wanted& wanted) {
  const DWORD error = FindHandle(handle, wanted);
  if (error == ERROR_INVALID_HANDLE && WasRequest(handle)) CountForbidden(function, "with a handle that is closed");
  return error;
}

std::string Narrow(const wchar_t* text) {
  return text == nullptr ? std::string() : NarrowUtf16(text);
}

bool IsVisibleAscii(char character) {
  return character > ' ' && character < 0x7F;
}

// Letters, digits, "-", "." and "_": no scheme, no port, no path.
bool IsHost(const std::string& host) {
  const auto isPart = [](char one) {
    return (one >= 'a' && one <= 'z') || (one >= 'A' && one <= 'Z') || (one >= '0' && one <= '9') || one == '-' ||
           one == '.' || one == '_';
  };
  return !host.empty() && host.size() <= kLongestHost && std::ranges::all_of(host, isPart);
}

DWORD OpenSession(HttpSession& session, DWORD accessType, const wchar_t* proxy, const wchar_t* bypass, DWORD flags) {
  constexpr DWORD kSecureDefaults = 0x30000000;  // WINHTTP_FLAG_SECURE_DEFAULTS, which includes WINHTTP_FLAG_ASYNC
  constexpr DWORD kNoAccessType = 2;
  const bool named = accessType == WINHTTP_ACCESS_TYPE_NAMED_PROXY;
  const std::string proxyText = Narrow(proxy);
  if ((flags & ~kSecureDefaults) != 0 || accessType == kNoAccessType ||
      accessType > WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY ||
      (named ? proxyText.empty() : proxy != nullptr || bypass != nullptr)) {
    return ERROR_INVALID_PARAMETER;
  }
  if ((flags & ~kAsynchronous) != 0) return RefuseUnknown("WinHttpOpen", "flags " + std::to_string(flags));
  session.asynchronous = flags != 0;
  if (accessType == WINHTTP_ACCESS_TYPE_NO_PROXY) return NO_ERROR;
  session.socksPort = SocksPort(proxyText).value_or(0);
  if (!named || session.socksPort == 0 || bypass != nullptr) {
    return RefuseUnknown("WinHttpOpen", "access type " + std::to_string(accessType) + " " + proxyText);
  }
  return NO_ERROR;
}

DWORD OpenConnection(HINTERNET sessionHandle, HttpConnection& connection, const wchar_t* host, DWORD reserved) {
  const DWORD error = FindHandle(sessionHandle, connection.session);
  if (error != NO_ERROR) return error;
  if (host == nullptr || reserved != 0) return ERROR_INVALID_PARAMETER;
  connection.host = Narrow(host);
  return IsHost(connection.host) ? NO_ERROR : ERROR_WINHTTP_INVALID_URL;
}

// The only arguments of WinHttpOpenRequest that may vary are the path and the flag for a secure request.
DWORD CheckGet(const std::string& verb, const std::string& path, bool hasMore, DWORD flags) {
  if ((flags & ~kKnownRequestFlags) != 0) return ERROR_INVALID_PARAMETER;
  const bool isPlainPath = std::ranges::all_of(path, IsVisibleAscii);
  if ((verb.empty() || verb == "GET") && isPlainPath && !hasMore && (flags | kSecure) == kSecure) {
    return NO_ERROR;
  }
  return RefuseUnknown("WinHttpOpenRequest", verb + " " + path + " flags " + std::to_string(flags));
}

HttpTarget Target(const HttpConnection& connection, const std::string& path, bool secure) {
  HttpTarget target{secure, connection.host, connection.port, path};
  if (target.port == INTERNET_DEFAULT_PORT)
    target.port = secure ? INTERNET_DEFAULT_HTTPS_PORT : INTERNET_DEFAULT_HTTP_PORT;
  if (!path.starts_with('/')) target.path.insert(0, 1, '/');
  return target;
}

// Ends a call that has taken the request. After a failed call the request is as before it was sent. The stage is set
// before the completion is reported.
DWORD EndStep(HttpRequest& request, Stage to, DWORD error) {
  request.stage = error == NO_ERROR ? to : Stage::New;
  return error;
}

// Takes the request for one call, which moves it from one stage to the next.
DWORD Step(const std::shared_ptr<HttpRequest>& request, Stage from, Stage to, CallKind kind,
           const std::function<DWORD()>& call) {
  if (!request->stage.compare_exchange_strong(from, Stage::Busy)) return ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
  const auto run = [request, to, call] { return EndStep(*request, to, call()); };
  if (!request->asynchronous) return run();
  CallInBackground(request, kind, run);
  return NO_ERROR;
}

// The only known option is the context for callbacks.
DWORD SetRequestOption(HINTERNET handle, DWORD option, const void* value, DWORD size) {
  std::shared_ptr<HttpRequest> request;
  const DWORD error = FindFor("WinHttpSetOption", handle, request);
  if (error != NO_ERROR) return error;
  if (option != WINHTTP_OPTION_CONTEXT_VALUE || !request->asynchronous) {
    return RefuseUnknown("WinHttpSetOption", std::to_string(option));
  }
  if (value == nullptr || size != sizeof(DWORD_PTR)) return ERROR_INVALID_PARAMETER;
  SetContext(*request, *static_cast<const DWORD_PTR*>(value));
  return NO_ERROR;
}

// Callbacks are supported for asynchronous requests only.
DWORD SetRequestCallback(HINTERNET handle, WINHTTP_STATUS_CALLBACK& callback, DWORD wanted, DWORD_PTR reserved) {
  std::shared_ptr<HttpRequest> request;
  const DWORD error = FindFor("WinHttpSetStatusCallback", handle, request);
  if (error != NO_ERROR) return error;
  if (reserved != 0) return ERROR_INVALID_PARAMETER;
  if (!request->asynchronous) return RefuseUnknown("WinHttpSetStatusCallback", "of a synchronous request");
  callback = SetCallback(*request, callback, wanted);
  return NO_ERROR;
}

// "An application should never WinHttpCloseHandle call on a synchronous request. This can create a race condition."
// ("WinHttpCloseHandle function"). The thread that opened a request may close it when no call is under way.
DWORD CloseRequestOrOther(HINTERNET handle) {
  std::shared_ptr<HttpRequest> request;
  const DWORD error = CloseHttpHandle(handle, request);
  if (error == ERROR_INVALID_HANDLE && WasRequest(handle)) {
    CountForbidden("WinHttpCloseHandle", "of a handle that is closed");
  }
  if (!request) return error;
  if (request->asynchronous) {
    ReportClosing(request);
  } else if (request->openedBy != GetCurrentThreadId()) {
    CountForbidden("WinHttpCloseHandle", "of a synchronous request from another thread");
  }
  return error;
}

}  // namespace
}  // namespace moorlak::lab

using namespace moorlak::lab;

extern "C" {

HINTERNET WINAPI WinHttpOpen(const wchar_t* agent, DWORD accessType, const wchar_t* proxy, const wchar_t* bypass,
                             DWORD flags) {
  return AnswerHandle([&](HINTERNET& handle) {
    auto session = std::make_shared<HttpSession>();
    session->agent = Narrow(agent);
    const DWORD error = OpenSession(*session, accessType, proxy, bypass, flags);
    if (error == NO_ERROR) handle = KeepHandle(std::move(session));
    return error;
  });
}

HINTERNET WINAPI WinHttpConnect(HINTERNET session, const wchar_t* host, INTERNET_PORT port, DWORD reserved) {
  return AnswerHandle([&](HINTERNET& handle) {
    auto connection = std::make_shared<HttpConnection>();
    connection->port = port;
    const DWORD error = OpenConnection(session, *connection, host, reserved);
    if (error == NO_ERROR) handle = KeepHandle(std::move(connection));
    return error;
  });
}

HINTERNET WINAPI WinHttpOpenRequest(HINTERNET connectionHandle, const wchar_t* verb, const wchar_t* path,
                                    const wchar_t* version, const wchar_t* referrer, const wchar_t** acceptTypes,
                                    DWORD flags) {
  return AnswerHandle([&](HINTERNET& handle) {
    std::shared_ptr<HttpConnection> connection;
    DWORD error = FindHandle(connectionHandle, connection);
    const bool hasMore = version != nullptr || referrer != nullptr || acceptTypes != nullptr;
    if (error == NO_ERROR) error = CheckGet(Narrow(verb), Narrow(path), hasMore, flags);
    if (error != NO_ERROR) return error;
    auto request = std::make_shared<HttpRequest>();
    if (!request->closed || !request->winsock.started) return static_cast<DWORD>(ERROR_WINHTTP_INTERNAL_ERROR);
    request->target = Target(*connection, Narrow(path), (flags & kSecure) != 0);
    request->agent = connection->session->agent;
    request->asynchronous = connection->session->asynchronous;
    request->socksPort = connection->session->socksPort;
    request->timeouts = TimeoutsOf(*connection->session);
    handle = KeepHandle(std::move(request));
    return error;
  });
}

BOOL WINAPI WinHttpSetTimeouts(HINTERNET handle, int resolve, int connect, int send, int receive) {
  return Answer([&]() -> DWORD {
    if (std::min({resolve, connect, send, receive}) < -1) return ERROR_INVALID_PARAMETER;
    return SetTimeouts(handle, {resolve, connect, send, receive});
  });
}

BOOL WINAPI WinHttpSendRequest(HINTERNET handle, const wchar_t* headers, DWORD headersLength, void* optional,
                               DWORD optionalLength, DWORD totalLength, DWORD_PTR context) {
  return Answer([&]() -> DWORD {
    std::shared_ptr<HttpRequest> request;
    const DWORD error = FindFor("WinHttpSendRequest", handle, request);
    if (error != NO_ERROR) return error;
    if ((headers == nullptr && headersLength != 0) || (optional == nullptr && optionalLength != 0)) {
      return ERROR_INVALID_PARAMETER;
    }
    if (headers != nullptr || optional != nullptr || totalLength != 0) {
      return RefuseUnknown("WinHttpSendRequest", UrlOf(request->target) + " with headers or a body");
    }
    // The documentation does not say whether a context of 0 replaces an earlier one.
    SetContext(*request, context);
    return Step(request, Stage::New, Stage::Sent, {API_SEND_REQUEST, WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE},
                [request] { return SendRequest(request); });
  });
}

BOOL WINAPI WinHttpReceiveResponse(HINTERNET handle, void* reserved) {
  return Answer([&]() -> DWORD {
    std::shared_ptr<HttpRequest> request;
    const DWORD error = FindFor("WinHttpReceiveResponse", handle, request);
    if (error != NO_ERROR) return error;
    if (reserved != nullptr) return ERROR_INVALID_PARAMETER;
    return Step(request, Stage::Sent, Stage::Answered,
                {API_RECEIVE_RESPONSE, WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE},
                [request] { return ReceiveResponse(*request); });
  });
}

BOOL WINAPI WinHttpCloseHandle(HINTERNET handle) {
  return Answer([&] { return CloseRequestOrOther(handle); });
}

BOOL WINAPI WinHttpSetOption(HINTERNET handle, DWORD option, void* value, DWORD size) {
  return Answer([&] { return SetRequestOption(handle, option, value, size); });
}

WINHTTP_STATUS_CALLBACK WINAPI WinHttpSetStatusCallback(HINTERNET handle, WINHTTP_STATUS_CALLBACK callback,
                                                        DWORD notifications, DWORD_PTR reserved) {
  WINHTTP_STATUS_CALLBACK previous = callback;
  const bool isSet = Answer([&] { return SetRequestCallback(handle, previous, notifications, reserved); });
  return isSet ? previous : WINHTTP_INVALID_STATUS_CALLBACK;
}

}  // extern "C"
