// A user who holds the pipe's name while the service does not. A client that sends him its request gives away a
// configuration, and believes his reply.
#include <windows.h>

#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "base/paths.h"
#include "base/trust.h"
#include "base/utf.h"
#include "ipc/wire_format.h"
#include "machine/support/child.h"
#include "machine/support/pipe_client.h"
#include "machine/support/service_control.h"

namespace moorlak::adversary {
namespace {

constexpr DWORD kOk = 0;
constexpr DWORD kImpostor = 10;
constexpr char kNothingSent[] =
    "moorlakctl: The control pipe belongs neither to the system nor to the administrators, so it is not the tunnel "
    "service's. Nothing was sent.\nEnd the program that holds it; the service takes the pipe back by itself.\n";

// The pipe with that owner. It answers the first request with "OK".
class Squatter {
 public:
  explicit Squatter(const std::wstring& owner) {
    const auto descriptor = DescriptorFrom(L"O:" + owner + L"G:SYD:(A;;GA;;;WD)");
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
    pipe.Reset(CreateNamedPipeW(kPipeName, PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, &attributes));
    EXPECT_TRUE(descriptor && pipe) << GetLastError();
    server = std::thread([this] { Serve(); });
  }
  ~Squatter() { End(); }
  // How much the client sent before it closed its end.
  size_t BytesGot() {
    End();
    return got;
  }

 private:
  void Serve() {
    ConnectNamedPipe(pipe.Get(), nullptr);
    char buffer[256];
    DWORD bytes = 0;
    while (ReadFile(pipe.Get(), buffer, sizeof(buffer), &bytes, nullptr) && bytes != 0) {
      got += bytes;
      const WireNumber length = EncodeNumber(2);
      machine::SendBytes(pipe.Get(), std::string(length.begin(), length.end()) + "OK");
    }
  }
  void End() {
    if (!server.joinable()) return;
    // Lets a server go that nobody came to.
    machine::ConnectPipe(std::chrono::milliseconds(1));
    server.join();
    pipe.Reset();
  }

  KernelHandle pipe;
  std::thread server;
  size_t got = 0;
};

std::wstring PingCommand() {
  return L"\"" + machine::InstallFolder() + L"\\moorlakctl.exe\" ping";
}

// The token of an administrator's programs that are not elevated.
KernelHandle TokenWithoutElevation() {
  KernelHandle own;
  TOKEN_LINKED_TOKEN linked{};
  DWORD size = 0;
  EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, own.Out()));
  EXPECT_TRUE(GetTokenInformation(own.Get(), TokenLinkedToken, &linked, sizeof(linked), &size)) << GetLastError();
  const KernelHandle other(linked.LinkedToken);
  KernelHandle primary;
  EXPECT_TRUE(
      DuplicateTokenEx(other.Get(), MAXIMUM_ALLOWED, nullptr, SecurityImpersonation, TokenPrimary, primary.Out()));
  TOKEN_ELEVATION elevation{1};
  EXPECT_TRUE(GetTokenInformation(primary.Get(), TokenElevation, &elevation, sizeof(elevation), &size));
  EXPECT_EQ(elevation.TokenIsElevated, 0u);
  return primary;
}

DWORD PingWithoutElevation() {
  const KernelHandle token = TokenWithoutElevation();
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION started{};
  std::wstring command = PingCommand();
  EXPECT_TRUE(CreateProcessAsUserW(token.Get(), nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                   &startup, &started))
      << GetLastError();
  const KernelHandle thread(started.hThread);
  const KernelHandle process(started.hProcess);
  EXPECT_EQ(WaitForSingleObject(process.Get(), 60'000), WAIT_OBJECT_0);
  DWORD exitCode = STILL_ACTIVE;
  EXPECT_TRUE(GetExitCodeProcess(process.Get(), &exitCode));
  return exitCode;
}

struct SquattedPipe : testing::Test {
  DWORD Ping() {
    DWORD exitCode = STILL_ACTIVE;
    output = machine::RunProgram(PingCommand(), exitCode);
    return exitCode;
  }
  void ExpectNothingSentTo(const std::wstring& owner) {
    SCOPED_TRACE(NarrowUtf16(owner));
    Squatter squatter(owner);
    EXPECT_EQ(Ping(), kImpostor);
    EXPECT_EQ(output, kNothingSent);
    EXPECT_EQ(squatter.BytesGot(), 0u);
  }

  std::string output;
};

TEST_F(SquattedPipe, OfAnotherUserGetsNothing) {
  ExpectNothingSentTo(L"S-1-5-21-1-2-3-1001");
  ExpectNothingSentTo(L"BU");
}

// An elevated client has rights that other programs of its user do not have.
TEST_F(SquattedPipe, OfTheUserHimselfGetsNothingFromAnElevatedClient) {
  ExpectNothingSentTo(UserSid(GetCurrentProcess()));
}

// Without elevation the client has nothing that other programs of its user do not have.
TEST_F(SquattedPipe, OfTheUserHimselfIsAcceptedByAClientThatIsNotElevated) {
  Squatter service(UserSid(GetCurrentProcess()));
  EXPECT_EQ(PingWithoutElevation(), kOk);
  EXPECT_EQ(service.BytesGot(), 8u);
}

TEST_F(SquattedPipe, OfAnotherUserGetsNothingFromAClientThatIsNotElevated) {
  Squatter squatter(L"S-1-5-21-1-2-3-1001");
  EXPECT_EQ(PingWithoutElevation(), kImpostor);
  EXPECT_EQ(squatter.BytesGot(), 0u);
}

TEST_F(SquattedPipe, OfTheSystemOrTheAdministratorsIsTheServices) {
  for (const wchar_t* owner : {L"SY", L"BA"}) {
    SCOPED_TRACE(NarrowUtf16(owner));
    Squatter service(owner);
    EXPECT_EQ(Ping(), kOk) << output;
    EXPECT_EQ(service.BytesGot(), 8u);
  }
}

}  // namespace
}  // namespace moorlak::adversary
