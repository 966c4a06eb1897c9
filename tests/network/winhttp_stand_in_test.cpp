// The HTTP calls themselves: that the stand-in is in force, what it refuses, how its waits end.
#include <winsock2.h>
#include <windows.h>

#include <future>
#include <winhttp.h>

#include "base/handle.h"
#include "network/support/proxy_server.h"
#include "network/support/simulated_machine.h"

namespace moorlak {
namespace {

constexpr int kShortMs = 100;
// For ever: a test in which that is not ended does not end.
constexpr int kForEver = 0;

struct HttpHandleTraits {
  using Type = HINTERNET;
  static Type Empty() noexcept { return nullptr; }
  static bool IsValid(Type handle) noexcept { return handle != nullptr; }
  static void Close(Type handle) noexcept { WinHttpCloseHandle(handle); }
};
using HttpHandle = UniqueHandle<HttpHandleTraits>;

HttpHandle OpenSession() {
  return HttpHandle(WinHttpOpen(L"Test/1", WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0));
}

HttpHandle OpenSession(const ProxyServer& proxy) {
  const std::wstring name = L"socks=127.0.0.1:" + std::to_wstring(proxy.Port());
  return HttpHandle(WinHttpOpen(L"Test/1", WINHTTP_ACCESS_TYPE_NAMED_PROXY, name.c_str(), nullptr, 0));
}

HttpHandle Connect(const HttpHandle& session, INTERNET_PORT port = INTERNET_DEFAULT_PORT) {
  return HttpHandle(WinHttpConnect(session.Get(), L"www.example", port, 0));
}

HttpHandle OpenGet(const HttpHandle& connection, DWORD flags = 0, const wchar_t* path = L"/a") {
  return HttpHandle(WinHttpOpenRequest(connection.Get(), L"GET", path, nullptr, nullptr, nullptr, flags));
}

// 0 for success.
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

constexpr DWORD kInvalidParameter = ERROR_INVALID_PARAMETER;
constexpr DWORD kInvalidHandle = ERROR_INVALID_HANDLE;
constexpr DWORD kWrongKind = ERROR_WINHTTP_INCORRECT_HANDLE_TYPE;
constexpr DWORD kWrongState = ERROR_WINHTTP_INCORRECT_HANDLE_STATE;
constexpr DWORD kTimeout = ERROR_WINHTTP_TIMEOUT;
constexpr DWORD kCancelled = ERROR_WINHTTP_OPERATION_CANCELLED;

class WinHttp : public OnSimulatedMachine {
 protected:
  void SetUp() override { Start(lab::DhcpMachine()); }
  // Uses that Windows knows and the stand-in does not; forgotten, so that they do not fail the test.
  static std::vector<std::string> TakeUnknown() {
    std::vector<std::string> unknown;
    lab::EditMachine([&](lab::MachineState& machine) { unknown.swap(machine.record.unknownCommands); });
    return unknown;
  }
};

TEST_F(WinHttp, TheStandInIsInForce) {
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
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, nullptr, nullptr, 0)), kNotImplemented);
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NAMED_PROXY, L"http=127.0.0.1:1", nullptr, 0)),
            kNotImplemented);
  EXPECT_EQ(ErrorOf(WinHttpOpen(nullptr, WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, WINHTTP_FLAG_ASYNC)),
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
  EXPECT_EQ(TakeUnknown().size(), 7u);
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

// The first failure of a request through a proxy of that kind.
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

// Time-outs that the session had when the request was opened, and the request's own.
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

// Sends and receives on a thread of its own; closes the request once the server has it. 0 when the send failed.
DWORD ErrorOfAReceiveThatIsClosed() {
  const ProxyServer silent(ServerPlan{Conduct::StaysSilent, "", "", true});
  const HttpHandle session = OpenSession(silent);
  const HttpHandle connection = Connect(session);
  HttpHandle request = OpenGet(connection);
  EXPECT_EQ(SetTimeouts(request.Get(), kForEver), static_cast<DWORD>(NO_ERROR));
  auto error = std::async(std::launch::async, [handle = request.Get()] {
    if (!WinHttpSendRequest(handle, nullptr, 0, nullptr, 0, 0, 0)) return DWORD{NO_ERROR};
    return WinHttpReceiveResponse(handle, nullptr) ? DWORD{NO_ERROR} : GetLastError();
  });
  EXPECT_TRUE(silent.WasAsked());
  request.Reset();
  EXPECT_TRUE(silent.WasLeft());
  return error.get();
}

TEST_F(WinHttp, ClosingARequestEndsTheReceiveThatWaitsForEver) {
  // Where the close comes between the two calls, the second finds no handle: then once more.
  constexpr int kRounds = 50;
  DWORD error = kInvalidHandle;
  for (int round = 0; round < kRounds && error == kInvalidHandle; ++round) error = ErrorOfAReceiveThatIsClosed();
  EXPECT_EQ(error, kCancelled);
}

TEST_F(WinHttp, ClosingARequestEndsTheSendThatWaitsForEver) {
  const ProxyServer silent(ServerPlan{Conduct::IgnoresTheGreeting, "", "", true});
  const HttpHandle session = OpenSession(silent);
  const HttpHandle connection = Connect(session);
  HttpHandle request = OpenGet(connection);
  ASSERT_EQ(SetTimeouts(request.Get(), kForEver), static_cast<DWORD>(NO_ERROR));
  const HINTERNET handle = request.Get();
  auto error = std::async(std::launch::async, [=] {
    return WinHttpSendRequest(handle, nullptr, 0, nullptr, 0, 0, 0) ? DWORD{NO_ERROR} : GetLastError();
  });
  EXPECT_TRUE(silent.WasAsked());
  request.Reset();
  EXPECT_EQ(error.get(), kCancelled);
  EXPECT_TRUE(silent.WasLeft());
}

}  // namespace
}  // namespace moorlak
