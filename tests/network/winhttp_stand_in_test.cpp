// The HTTP calls themselves: that the stand-in is loaded, what it refuses, how its waits end.
#include <winsock2.h>
#include <windows.h>

#include <algorithm>
#include <future>
#include <mutex>
#include <winhttp.h>

#include "base/handle.h"
#include "network/support/proxy_server.h"
#include "network/support/simulated_machine.h"
#include "unit/process/child_test_support.h"

namespace moorlak {
namespace {

constexpr int kShortMs = 100;
// Forever: a test hangs if its wait is not ended.
constexpr int kForEver = 0;

using HttpHandle = UniqueHandle<HINTERNET, WinHttpCloseHandle>;

HttpHandle OpenSession(DWORD flags = 0) {
  return HttpHandle(WinHttpOpen(L"Test/1", WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, flags));
}

HttpHandle OpenSession(const ProxyServer& proxy, DWORD flags = 0) {
  const std::wstring name = L"socks=127.0.0.1:" + std::to_wstring(proxy.Port());
  return HttpHandle(WinHttpOpen(L"Test/1", WINHTTP_ACCESS_TYPE_NAMED_PROXY, name.c_str(), nullptr, flags));
}

HttpHandle Connect(const HttpHandle& session, INTERNET_PORT port = INTERNET_DEFAULT_PORT) {
  return HttpHandle(WinHttpConnect(session.Get(), L"www.example", port, 0));
}

HttpHandle OpenGet(const HttpHandle& connection, DWORD flags = 0, const wchar_t* path = L"/a") {
  return HttpHandle(WinHttpOpenRequest(connection.Get(), L"GET", path, nullptr, nullptr, nullptr, flags));
}

// The error of the call, 0 on success.
DWORD Send(const HttpHandle& request) {
  return WinHttpSendRequest(request.Get(), nullptr, 0, nullptr, 0, 0, 0) ? NO_ERROR : GetLastError();
}

DWORD Receive(const HttpHandle& request) {
  return WinHttpReceiveResponse(request.Get(), nullptr) ? NO_ERROR : GetLastError();
}

DWORD SetTimeouts(HINTERNET handle, int all) {
  return WinHttpSetTimeouts(handle, all, all, all, all) ? NO_ERROR : GetLastError();
}

DWORD ErrorOf(HINTERNET handle) {
  const DWORD error = GetLastError();
  return HttpHandle(handle) ? NO_ERROR : error;
}

constexpr DWORD kNone = NO_ERROR;
constexpr DWORD kInvalidParameter = ERROR_INVALID_PARAMETER;
constexpr DWORD kInvalidHandle = ERROR_INVALID_HANDLE;
constexpr DWORD kWrongKind = ERROR_WINHTTP_INCORRECT_HANDLE_TYPE;
constexpr DWORD kWrongState = ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
constexpr DWORD kTimeout = ERROR_WINHTTP_TIMEOUT;

class WinHttp : public OnSimulatedMachine {
 protected:
  void SetUp() override { Start(lab::DhcpMachine()); }
  // Uses that Windows supports and the stand-in does not. They are removed, so that they do not fail the test.
  static std::vector<std::string> TakeUnknown() {
    std::vector<std::string> unknown;
    lab::EditMachine([&](lab::MachineState& machine) { unknown.swap(machine.record.unknownCommands); });
    return unknown;
  }
};

TEST_F(WinHttp, StandInIsLoaded) {
  const HttpHandle session = OpenSession();
  const HttpHandle connection = Connect(session);
  const HttpHandle request = OpenGet(connection, WINHTTP_FLAG_SECURE);
  // The machine has no web.
  EXPECT_EQ(Send(request), static_cast<DWORD>(ERROR_WINHTTP_CANNOT_CONNECT));
  EXPECT_EQ(CallsOf("WinHttpSendRequest"), std::vector<std::string>{"https://www.example/a direct -> 0"});
}

TEST_F(WinHttp, HandlesOfAnotherKindAreRefused) {
  const HttpHandle session = OpenSession();
  const HttpHandle connection = Connect(session);
  const HttpHandle request = OpenGet(connection);
  EXPECT_EQ(ErrorOf(WinHttpConnect(connection.Get(), L"www.example", 0, 0)), kWrongKind);
  EXPECT_EQ(ErrorOf(WinHttpOpenRequest(session.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, 0)), kWrongKind);
  EXPECT_EQ(Send(session), kWrongKind);
  EXPECT_EQ(Receive(connection), kWrongKind);
  EXPECT_EQ(SetTimeouts(connection.Get(), 1), kWrongKind);
  EXPECT_EQ(SetTimeouts(session.Get(), 1), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(SetTimeouts(request.Get(), 1), static_cast<DWORD>(NO_ERROR));
}

TEST_F(WinHttp, ClosedAndForeignHandlesAreRefused) {
  const HINTERNET closed = OpenSession().Get();
  for (const HINTERNET handle : {HINTERNET{}, closed, reinterpret_cast<HINTERNET>(this)}) {
    EXPECT_EQ(ErrorOf(WinHttpConnect(handle, L"www.example", 0, 0)), kInvalidHandle);
    EXPECT_EQ(SetTimeouts(handle, 1), kInvalidHandle);
    EXPECT_FALSE(WinHttpReceiveResponse(handle, nullptr));
    EXPECT_EQ(GetLastError(), kInvalidHandle);
    EXPECT_FALSE(WinHttpCloseHandle(handle));
    EXPECT_EQ(GetLastError(), kInvalidHandle);
  }
}

TEST_F(WinHttp, AHandleIsNeverGivenOutTwice) {
  const HINTERNET first = OpenSession().Get();
  const HttpHandle second = OpenSession();
  EXPECT_NE(first, second.Get());
}

TEST_F(WinHttp, ArgumentsThatAreNoneAreRefused) {
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NAMED_PROXY, nullptr, nullptr, 0)), kInvalidParameter);
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, L"socks=127.0.0.1:1", nullptr, 0)),
            kInvalidParameter);
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, 2, nullptr, nullptr, 0)), kInvalidParameter);
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 1)), kInvalidParameter);
  const HttpHandle session = OpenSession();
  EXPECT_EQ(ErrorOf(WinHttpConnect(session.Get(), nullptr, 0, 0)), kInvalidParameter);
  EXPECT_EQ(ErrorOf(WinHttpConnect(session.Get(), L"www.example", 0, 1)), kInvalidParameter);
  for (const wchar_t* host : {L"", L"http://www.example", L"www.example:80", L"www.example/", L"a b"}) {
    EXPECT_EQ(ErrorOf(WinHttpConnect(session.Get(), host, 0, 0)), static_cast<DWORD>(ERROR_WINHTTP_INVALID_URL));
  }
  const HttpHandle connection = Connect(session);
  EXPECT_EQ(ErrorOf(OpenGet(connection, 1).Release()), kInvalidParameter);
  const HttpHandle request = OpenGet(connection);
  EXPECT_EQ(SetTimeouts(request.Get(), -2), kInvalidParameter);
  EXPECT_EQ(SetTimeouts(request.Get(), -1), static_cast<DWORD>(NO_ERROR));
  EXPECT_FALSE(WinHttpSendRequest(request.Get(), nullptr, 1, nullptr, 0, 0, 0));
  EXPECT_EQ(GetLastError(), kInvalidParameter);
  EXPECT_FALSE(WinHttpSendRequest(request.Get(), nullptr, 0, nullptr, 1, 1, 0));
  EXPECT_EQ(GetLastError(), kInvalidParameter);
  EXPECT_FALSE(WinHttpReceiveResponse(request.Get(), this));
  EXPECT_EQ(GetLastError(), kInvalidParameter);
}

TEST_F(WinHttp, UsesThatTheLabDoesNotKnowAreRefusedAndCounted) {
  constexpr DWORD kNotImplemented = ERROR_CALL_NOT_IMPLEMENTED;
  constexpr DWORD kSecureDefaults = 0x30000000;
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, nullptr, nullptr, 0)), kNotImplemented);
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NAMED_PROXY, L"http=127.0.0.1:1", nullptr, 0)),
            kNotImplemented);
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, kSecureDefaults)),
            kNotImplemented);
  const HttpHandle session = OpenSession();
  const HttpHandle connection = Connect(session);
  EXPECT_EQ(ErrorOf(WinHttpOpenRequest(connection.Get(), L"POST", L"/", nullptr, nullptr, nullptr, 0)),
            kNotImplemented);
  EXPECT_EQ(ErrorOf(OpenGet(connection, WINHTTP_FLAG_REFRESH).Release()), kNotImplemented);
  EXPECT_EQ(ErrorOf(OpenGet(connection, 0, L"/a b").Release()), kNotImplemented);
  const HttpHandle request = OpenGet(connection);
  EXPECT_FALSE(WinHttpSendRequest(request.Get(), L"A: b", 4, nullptr, 0, 0, 0));
  EXPECT_EQ(GetLastError(), kNotImplemented);
  DWORD_PTR context = 1;
  EXPECT_FALSE(WinHttpSetOption(request.Get(), WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof(context)));
  EXPECT_EQ(GetLastError(), kNotImplemented);
  EXPECT_EQ(WinHttpSetStatusCallback(request.Get(), nullptr, 0, 0), WINHTTP_INVALID_STATUS_CALLBACK);
  EXPECT_EQ(GetLastError(), kNotImplemented);
  EXPECT_EQ(TakeUnknown().size(), 9u);
}

TEST_F(WinHttp, CallsComeInTheirOrder) {
  const ProxyServer proxy;
  const HttpHandle session = OpenSession(proxy);
  const HttpHandle connection = Connect(session);
  const HttpHandle request = OpenGet(connection);
  EXPECT_EQ(Receive(request), kWrongState);
  EXPECT_EQ(Send(request), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(Send(request), kWrongState);
  EXPECT_EQ(Receive(request), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(Receive(request), kWrongState);
  EXPECT_EQ(proxy.Targets(), std::vector<std::string>{"www.example:80"});
}

TEST_F(WinHttp, ARequestThatFailedMayBeSentAgain) {
  const ProxyServer proxy;
  const HttpHandle session = OpenSession(proxy);
  const HttpHandle connection = Connect(session);
  const HttpHandle request = OpenGet(connection);
  PlanFault("fail", "WinHttpSendRequest", "via socks=", 1, ERROR_WINHTTP_NAME_NOT_RESOLVED);
  EXPECT_EQ(Send(request), static_cast<DWORD>(ERROR_WINHTTP_NAME_NOT_RESOLVED));
  EXPECT_EQ(Receive(request), kWrongState);
  EXPECT_EQ(Send(request), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(Receive(request), static_cast<DWORD>(NO_ERROR));
}

// The first error of a request through such a proxy.
DWORD FailureThrough(const ServerPlan& plan) {
  const ProxyServer proxy(plan);
  const HttpHandle session = OpenSession(proxy);
  const HttpHandle connection = Connect(session);
  const HttpHandle request = OpenGet(connection);
  const DWORD error = Send(request);
  return error == NO_ERROR ? Receive(request) : error;
}

TEST_F(WinHttp, FailuresOfTheNetworkHaveTheirCodes) {
  EXPECT_EQ(FailureThrough({}), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(FailureThrough({Conduct::Refuses, "", "", true}), static_cast<DWORD>(ERROR_WINHTTP_CANNOT_CONNECT));
  EXPECT_EQ(FailureThrough({Conduct::HangsUp, "", "", true}), static_cast<DWORD>(ERROR_WINHTTP_CONNECTION_ERROR));
  EXPECT_EQ(FailureThrough({Conduct::Answers, "HTTP/1.1 200 OK\r\n", "", true}),
            static_cast<DWORD>(ERROR_WINHTTP_CONNECTION_ERROR));
  EXPECT_EQ(FailureThrough({Conduct::Answers, "hello\r\n\r\n", "", true}),
            static_cast<DWORD>(ERROR_WINHTTP_INVALID_SERVER_RESPONSE));
  EXPECT_EQ(FailureThrough({Conduct::Answers, std::string(100000, 'a'), "", true}),
            static_cast<DWORD>(ERROR_WINHTTP_HEADER_SIZE_OVERFLOW));
}

TEST_F(WinHttp, AChildOutlivesItsParents) {
  const ProxyServer proxy;
  HttpHandle session = OpenSession(proxy);
  HttpHandle connection = Connect(session);
  const HttpHandle request = OpenGet(connection);
  connection.Reset();
  session.Reset();
  EXPECT_EQ(Send(request), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(Receive(request), static_cast<DWORD>(NO_ERROR));
}

// Time-outs taken from the session when the request was opened, and the request's own.
TEST_F(WinHttp, EachStepHasItsTimeOut) {
  const ProxyServer silent(ServerPlan{Conduct::StaysSilent, "", "", true});
  const HttpHandle session = OpenSession(silent);
  const HttpHandle connection = Connect(session);
  ASSERT_TRUE(WinHttpSetTimeouts(session.Get(), kForEver, kForEver, kForEver, kShortMs));
  const HttpHandle request = OpenGet(connection);
  EXPECT_EQ(Send(request), static_cast<DWORD>(NO_ERROR));
  EXPECT_EQ(Receive(request), kTimeout);
}

TEST_F(WinHttp, AProxyThatSaysNothingCostsTheConnectsTimeOut) {
  const ProxyServer silent(ServerPlan{Conduct::IgnoresTheGreeting, "", "", true});
  const HttpHandle session = OpenSession(silent);
  const HttpHandle connection = Connect(session);
  const HttpHandle request = OpenGet(connection);
  ASSERT_TRUE(WinHttpSetTimeouts(request.Get(), kForEver, kShortMs, kForEver, kForEver));
  EXPECT_EQ(Send(request), kTimeout);
}

TEST_F(WinHttp, ATunnelWhosePacketsNobodyTakesCostsTheConnectsTimeOut) {
  Start(TunnelMachine());
  const HttpHandle session = OpenSession();
  const HttpHandle connection = Connect(session);
  const HttpHandle request = OpenGet(connection);
  ASSERT_TRUE(WinHttpSetTimeouts(request.Get(), kForEver, kShortMs, kForEver, kForEver));
  EXPECT_EQ(Send(request), kTimeout);
}

// The notifications of one request, in order: "sent", "answered", "error API CODE", "closing".
class Reported {
 public:
  void Add(const std::string& word) {
    const std::lock_guard guard(lock);
    words.push_back(word);
    isOwnThread = isOwnThread || GetCurrentThreadId() == ownThread;
    SetEvent(changed.Get());
  }
  // Waits for that notification and returns all notifications so far.
  std::vector<std::string> Until(const std::string& last) const {
    for (;;) {
      {
        const std::lock_guard guard(lock);
        if (std::ranges::find(words, last) != words.end()) return words;
      }
      if (WaitForSingleObject(changed.Get(), kGenerousMs) != WAIT_OBJECT_0) return {"nothing more"};
    }
  }
  bool CameOnThisThread() const {
    const std::lock_guard guard(lock);
    return isOwnThread;
  }

 private:
  mutable std::mutex lock;
  std::vector<std::string> words;
  KernelHandle changed{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
  const DWORD ownThread = GetCurrentThreadId();
  bool isOwnThread = false;
};

void CALLBACK Tell(HINTERNET, DWORD_PTR context, DWORD status, void* information, DWORD) {
  Reported& told = *reinterpret_cast<Reported*>(context);
  if (status == WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE) told.Add("sent");
  if (status == WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE) told.Add("answered");
  if (status == WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING) told.Add("closing");
  if (status != WINHTTP_CALLBACK_STATUS_REQUEST_ERROR) return;
  const auto* result = static_cast<const WINHTTP_ASYNC_RESULT*>(information);
  told.Add("error " + std::to_string(result->dwResult) + " " + std::to_string(result->dwError));
}

// An asynchronous request whose steps may take forever. Its parents are closed before it is used.
struct AsyncRequest {
  explicit AsyncRequest(const HttpHandle& session, DWORD wanted = WINHTTP_CALLBACK_FLAG_ALL_NOTIFICATIONS)
      : request(OpenGet(Connect(session))) {
    EXPECT_EQ(WinHttpSetStatusCallback(request.Get(), Tell, wanted, 0), nullptr);
    auto context = reinterpret_cast<DWORD_PTR>(&told);
    EXPECT_TRUE(WinHttpSetOption(request.Get(), WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof(context)));
    EXPECT_EQ(SetTimeouts(request.Get(), kForEver), kNone);
  }
  explicit AsyncRequest(const ProxyServer& proxy) : AsyncRequest(OpenSession(proxy, WINHTTP_FLAG_ASYNC)) {}
  AsyncRequest(const AsyncRequest&) = delete;
  // The context must outlive the closing notification.
  ~AsyncRequest() {
    request.Reset();
    told.Until("closing");
  }

  DWORD Send() {
    const auto context = reinterpret_cast<DWORD_PTR>(&told);
    return WinHttpSendRequest(request.Get(), nullptr, 0, nullptr, 0, 0, context) ? kNone : GetLastError();
  }

  Reported told;
  HttpHandle request;
};

using Words = std::vector<std::string>;

TEST_F(WinHttp, TheEndsOfAnAsynchronousRequestsCallsAreReported) {
  const ProxyServer proxy;
  AsyncRequest async(proxy);
  EXPECT_EQ(async.Send(), kNone);
  EXPECT_EQ(async.told.Until("sent"), Words{"sent"});
  EXPECT_EQ(Receive(async.request), kNone);
  EXPECT_EQ(async.told.Until("answered"), (Words{"sent", "answered"}));
  async.request.Reset();
  EXPECT_EQ(async.told.Until("closing"), (Words{"sent", "answered", "closing"}));
  EXPECT_FALSE(async.told.CameOnThisThread());
}

TEST_F(WinHttp, AnAsynchronousFailureIsReportedAndTheRequestMayBeSentAgain) {
  const ProxyServer proxy;
  AsyncRequest async(proxy);
  PlanFault("fail", "WinHttpSendRequest", "via socks=", 1, ERROR_WINHTTP_NAME_NOT_RESOLVED);
  EXPECT_EQ(async.Send(), kNone);
  EXPECT_EQ(async.told.Until("error 5 12007"), Words{"error 5 12007"});
  EXPECT_EQ(Receive(async.request), kWrongState);
  EXPECT_EQ(async.Send(), kNone);
  EXPECT_EQ(async.told.Until("sent"), (Words{"error 5 12007", "sent"}));
}

TEST_F(WinHttp, AnAsynchronousCallWaitsForTheEndOfTheOneBefore) {
  const ProxyServer silent(ServerPlan{Conduct::IgnoresTheGreeting, "", "", true});
  AsyncRequest async(silent);
  EXPECT_EQ(async.Send(), kNone);
  EXPECT_EQ(async.Send(), kWrongState);
  EXPECT_EQ(Receive(async.request), kWrongState);
}

TEST_F(WinHttp, OnlyWhatIsWantedIsReported) {
  AsyncRequest async(OpenSession(WINHTTP_FLAG_ASYNC), WINHTTP_CALLBACK_FLAG_HANDLES);
  // The machine has no web, so this fails.
  EXPECT_EQ(async.Send(), kNone);
  async.request.Reset();
  EXPECT_EQ(async.told.Until("closing"), Words{"closing"});
}

TEST_F(WinHttp, ClosingAnUnusedAsynchronousRequestReportsItOnAnotherThread) {
  AsyncRequest async(OpenSession(WINHTTP_FLAG_ASYNC));
  async.request.Reset();
  EXPECT_EQ(async.told.Until("closing"), Words{"closing"});
  EXPECT_FALSE(async.told.CameOnThisThread());
}

TEST_F(WinHttp, ClosingAnAsynchronousRequestEndsTheReceiveThatWaitsForEver) {
  const ProxyServer silent(ServerPlan{Conduct::StaysSilent, "", "", true});
  AsyncRequest async(silent);
  EXPECT_EQ(async.Send(), kNone);
  async.told.Until("sent");
  EXPECT_EQ(Receive(async.request), kNone);
  EXPECT_TRUE(silent.WasAsked());
  async.request.Reset();
  EXPECT_EQ(async.told.Until("closing"), (Words{"sent", "error 1 12017", "closing"}));
  EXPECT_TRUE(silent.WasLeft());
}

TEST_F(WinHttp, ClosingAnAsynchronousRequestEndsTheSendThatWaitsForEver) {
  const ProxyServer silent(ServerPlan{Conduct::IgnoresTheGreeting, "", "", true});
  AsyncRequest async(silent);
  EXPECT_EQ(async.Send(), kNone);
  EXPECT_TRUE(silent.WasAsked());
  async.request.Reset();
  EXPECT_EQ(async.told.Until("closing"), (Words{"error 5 12017", "closing"}));
  EXPECT_TRUE(silent.WasLeft());
}

TEST_F(WinHttp, ClosingAnAsynchronousRequestEndsACallThatHangs) {
  AsyncRequest async(OpenSession(WINHTTP_FLAG_ASYNC));
  PlanFault("hang", "WinHttpSendRequest", "", 1, 0);
  EXPECT_EQ(async.Send(), kNone);
  async.request.Reset();
  EXPECT_EQ(async.told.Until("closing"), (Words{"error 5 12017", "closing"}));
}

TEST_F(WinHttp, ClosingASynchronousRequestFromAnotherThreadFailsTheTest) {
  const HttpHandle session = OpenSession();
  const HttpHandle connection = Connect(session);
  HttpHandle request = OpenGet(connection);
  std::async(std::launch::async, [&] { request.Reset(); }).get();
  EXPECT_EQ(TakeUnknown(), Words{"WinHttpCloseHandle of a synchronous request from another thread"});
}

TEST_F(WinHttp, ACallWithARequestThatIsClosedFailsTheTest) {
  const HttpHandle session = OpenSession(WINHTTP_FLAG_ASYNC);
  const HttpHandle connection = Connect(session);
  const HINTERNET closed = OpenGet(connection).Get();
  EXPECT_FALSE(WinHttpReceiveResponse(closed, nullptr));
  EXPECT_EQ(GetLastError(), kInvalidHandle);
  EXPECT_FALSE(WinHttpCloseHandle(closed));
  EXPECT_EQ(TakeUnknown(), (Words{"WinHttpReceiveResponse with a handle that is closed",
                                  "WinHttpCloseHandle of a handle that is closed"}));
}

}  // namespace
}  // namespace moorlak
