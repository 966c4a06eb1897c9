// The control pipe: its replies, what it refuses, and how long a bad client can keep it busy.
#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "machine/support/pipe_client.h"
#include "machine/support/running_service.h"
#include "machine/support/service_control.h"
#include "support/log_watch.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr uint32_t kUnknownCode = 77;

class ControlPipe : public RunningService {
 protected:
  // Whatever a client did, the service is still the same process and serves the next client.
  void TearDown() override {
    EXPECT_EQ(Ask(CommandCode::Ping), "OK");
    EXPECT_EQ(ServiceProcessId(), processId);
  }

  const LogWatch log;
  const DWORD processId = ServiceProcessId();
};

// Everything before the payload. The length need not match the payload.
std::string Header(uint32_t code, uint32_t length) {
  return RawRequest(code, length, {});
}

std::optional<std::string> AskRaw(const std::string& request) {
  const KernelHandle pipe = ConnectPipe();
  if (!SendBytes(pipe.Get(), request)) return std::nullopt;
  return ReadReply(pipe.Get());
}

std::string ReceivedLine(uint32_t code) {
  return "IPC server command " + std::to_string(code) + " received";
}

// One line each for the owner, the group and every entry. Generic rights appear as the specific rights of a file or a
// pipe, because Windows translates them when it creates the object.
std::vector<std::wstring> Describe(PSID owner, PSID group, PACL dacl) {
  const auto text = [](PSID sid) {
    LocalMemory<LPWSTR> sidText;
    return ConvertSidToStringSidW(sid, sidText.Out()) ? std::wstring(sidText.Get()) : std::wstring(L"(no SID)");
  };
  std::vector<std::wstring> lines{L"owner " + text(owner), L"group " + text(group)};
  if (dacl == nullptr) return lines;
  for (DWORD index = 0; index < dacl->AceCount; ++index) {
    void* entry = nullptr;
    EXPECT_TRUE(GetAce(dacl, index, &entry));
    auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
    GENERIC_MAPPING mapping{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE, FILE_ALL_ACCESS};
    DWORD mask = ace->Mask;
    MapGenericMask(&mask, &mapping);
    lines.push_back(L"type " + std::to_wstring(ace->Header.AceType) + L" flags " +
                    std::to_wstring(ace->Header.AceFlags) + L" mask " + std::to_wstring(mask) + L" for " +
                    text(&ace->SidStart));
  }
  return lines;
}

std::vector<std::wstring> DescribeText(const wchar_t* sddl) {
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, descriptor.Out(), nullptr));
  PSID owner = nullptr;
  PSID group = nullptr;
  PACL dacl = nullptr;
  BOOL present = FALSE;
  BOOL unused = FALSE;
  EXPECT_TRUE(GetSecurityDescriptorOwner(descriptor.Get(), &owner, &unused));
  EXPECT_TRUE(GetSecurityDescriptorGroup(descriptor.Get(), &group, &unused));
  EXPECT_TRUE(GetSecurityDescriptorDacl(descriptor.Get(), &present, &dacl, &unused));
  return Describe(owner, group, dacl);
}

std::vector<std::wstring> DescribeObject(HANDLE object) {
  constexpr SECURITY_INFORMATION kParts =
      OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION;
  PSID owner = nullptr;
  PSID group = nullptr;
  PACL dacl = nullptr;
  LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
  EXPECT_EQ(GetSecurityInfo(object, SE_KERNEL_OBJECT, kParts, &owner, &group, &dacl, nullptr, descriptor.Out()),
            static_cast<DWORD>(ERROR_SUCCESS));
  return Describe(owner, group, dacl);
}

TEST_F(ControlPipe, HasExactlyItsSecurityDescriptorOneInstanceAndTheBufferSizes) {
  constexpr DWORD kMebibyte = 1u << 20;
  // Reading includes the right to read the descriptor.
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(pipe);
  EXPECT_EQ(DescribeObject(pipe.Get()), DescribeText(L"O:SYG:SYD:(A;;GA;;;SY)(A;;0x12019f;;;BU)(A;;0x12019f;;;AU)"));
  DWORD flags = 0;
  DWORD outBytes = 0;
  DWORD inBytes = 0;
  DWORD instances = 0;
  ASSERT_TRUE(GetNamedPipeInfo(pipe.Get(), &flags, &outBytes, &inBytes, &instances)) << GetLastError();
  EXPECT_EQ(flags & PIPE_TYPE_MESSAGE, 0u);
  EXPECT_EQ(outBytes, kMebibyte);
  EXPECT_EQ(inBytes, kMebibyte);
  EXPECT_EQ(instances, 1u);
}

TEST_F(ControlPipe, AcceptsAPayloadOfExactly16777216Bytes) {
  EXPECT_EQ(Ask(CommandCode::Ping, std::string(16'777'216, 'x')), "OK");
}

TEST_F(ControlPipe, ClosesTheConnectionOnAPayloadLengthOf16777217) {
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(SendBytes(pipe.Get(), Header(1, 16'777'217)));
  EXPECT_TRUE(ReadsEndOfPipe(pipe.Get()));
  EXPECT_EQ(AskRaw(RawRequest(1, 16'777'217, std::string(16'777'217, 'x'))), std::nullopt);
  EXPECT_EQ(log.Count(ReceivedLine(1)), 2u);
  EXPECT_EQ(log.Count("IPC ping"), 0u);
  // The length ended these connections, not the wait for a payload.
  EXPECT_EQ(log.Count("IPC: ReadExact timed out after 8000ms"), 0u);
}

TEST_F(ControlPipe, TheGreatestLengthGetsNoReplyWhateverFollowsIt) {
  EXPECT_EQ(AskRaw(RawRequest(1, 0xFFFFFFFF, std::string(300'000, 'x'))), std::nullopt);
  EXPECT_EQ(log.Count("IPC ping"), 0u);
}

TEST_F(ControlPipe, LogsEveryCommandAsReceivedButStatus) {
  for (const uint32_t code : {1u, 2u, 3u, 4u, kUnknownCode}) EXPECT_TRUE(AskRaw(Header(code, 0)));
  for (const uint32_t code : {1u, 2u, 3u, kUnknownCode}) EXPECT_EQ(log.Count(ReceivedLine(code)), 1u) << code;
  EXPECT_EQ(log.Count(ReceivedLine(4)), 0u);
}

TEST_F(ControlPipe, AStatusRequestLeavesNoLogLineAtAll) {
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=0 tunnel=0 up=0 down=0");
  EXPECT_TRUE(log.Messages().empty());
}

TEST_F(ControlPipe, RepliesToStatusWhileIdleWithZeros) {
  EXPECT_EQ(Ask(CommandCode::Status), "OK running=0 tunnel=0 up=0 down=0");
}

TEST_F(ControlPipe, RepliesToStopWithOkWhenNothingRuns) {
  EXPECT_EQ(Ask(CommandCode::Stop), "OK");
  EXPECT_EQ(log.Count("IPC stop"), 1u);
}

TEST_F(ControlPipe, RepliesToAnUnknownCommand) {
  for (const uint32_t code : {0u, 5u, kUnknownCode, 0xFFFFFFFFu}) {
    EXPECT_EQ(AskRaw(RawRequest(code, 3, "abc")), "ERR:Unknown command.") << code;
  }
}

TEST_F(ControlPipe, IgnoresThePayloadOfCommandsThatTakeNone) {
  EXPECT_EQ(Ask(CommandCode::Ping, "1\n{}"), "OK");
  EXPECT_EQ(Ask(CommandCode::Stop, "1\n{}"), "OK");
  EXPECT_EQ(Ask(CommandCode::Status, "1\n{}"), "OK running=0 tunnel=0 up=0 down=0");
}

TEST_F(ControlPipe, DropsASilentClientAfter1500Ms) {
  const auto begin = std::chrono::steady_clock::now();
  const KernelHandle pipe = ConnectPipe();
  EXPECT_TRUE(ReadsEndOfPipe(pipe.Get()));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1400));
  EXPECT_EQ(log.Count("IPC: ReadExact timed out after 1500ms"), 1u);
}

TEST_F(ControlPipe, BytesThatDripInDoNotExtendTheTimeForTheCommandCode) {
  const KernelHandle pipe = ConnectPipe();
  // Each byte arrives less than 1500 ms after the previous one, but the last one long after the first 1500 ms.
  for (const char byte : EncodeRequest(CommandCode::Ping, {}).substr(0, sizeof(WireNumber))) {
    if (!SendBytes(pipe.Get(), std::string(1, byte))) break;
    Sleep(900);
  }
  EXPECT_TRUE(ReadsEndOfPipe(pipe.Get()));
  EXPECT_EQ(log.Count("IPC: ReadExact timed out after 1500ms"), 1u);
  EXPECT_EQ(log.Count(ReceivedLine(1)), 0u);
}

TEST_F(ControlPipe, DropsAClientThatGoesSilentBeforeItsPayloadLength) {
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(SendBytes(pipe.Get(), Header(1, 0).substr(0, 6)));
  EXPECT_TRUE(ReadsEndOfPipe(pipe.Get()));
  EXPECT_EQ(log.Count("IPC: ReadExact timed out after 8000ms"), 1u);
}

TEST_F(ControlPipe, DropsAClientThatGoesSilentWithinItsPayload) {
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(SendBytes(pipe.Get(), RawRequest(2, 10, "1\n{")));
  EXPECT_TRUE(ReadsEndOfPipe(pipe.Get()));
  EXPECT_EQ(log.Count("IPC: ReadExact timed out after 8000ms"), 1u);
  EXPECT_EQ(log.Count("IPC start (payload bytes=10)"), 0u);
}

TEST_F(ControlPipe, AClientThatLeavesEarlyCostsNoTimeOut) {
  const std::string request = RawRequest(1, 8, "12345678");
  for (size_t sent = 0; sent <= request.size(); ++sent) {
    const KernelHandle pipe = ConnectPipe();
    ASSERT_TRUE(pipe);
    EXPECT_TRUE(SendBytes(pipe.Get(), request.substr(0, sent)));
  }
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  for (const auto& message : log.Messages()) EXPECT_EQ(message.find("timed out"), std::string::npos) << message;
}

TEST_F(ControlPipe, AClientThatNeverReadsItsReplyDoesNotHoldTheService) {
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(SendBytes(pipe.Get(), EncodeRequest(CommandCode::Ping, {})));
  ASSERT_TRUE(log.WaitForMessage("IPC ping"));
  // The first client keeps its end open the whole time.
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_EQ(log.Count("IPC ping"), 2u);
}

TEST_F(ControlPipe, AClientThatReadsLateButInTimeLosesNothing) {
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(SendBytes(pipe.Get(), Header(kUnknownCode, 0)));
  ASSERT_TRUE(log.WaitForMessage(ReceivedLine(kUnknownCode)));
  Sleep(3000);
  EXPECT_EQ(ReadReply(pipe.Get()), "ERR:Unknown command.");
  EXPECT_TRUE(ReadsEndOfPipe(pipe.Get()));
}

TEST_F(ControlPipe, ARequestInSingleBytesIsServedLikeOneInOnePiece) {
  const KernelHandle pipe = ConnectPipe();
  for (const char byte : RawRequest(2, 3, "0\nx")) ASSERT_TRUE(SendBytes(pipe.Get(), std::string(1, byte)));
  EXPECT_EQ(ReadReply(pipe.Get()), "ERR:Invalid VPN configuration. The server config could not be parsed.");
}

TEST_F(ControlPipe, BytesAfterThePayloadAreThrownAway) {
  EXPECT_EQ(AskRaw(RawRequest(1, 2, "ab" + EncodeRequest(CommandCode::Stop, {}))), "OK");
  EXPECT_EQ(Ask(CommandCode::Ping), "OK");
  EXPECT_EQ(log.Count("IPC stop"), 0u);
}

TEST_F(ControlPipe, DisconnectsAfterTheReply) {
  const KernelHandle pipe = ConnectPipe();
  ASSERT_TRUE(SendBytes(pipe.Get(), EncodeRequest(CommandCode::Ping, {})));
  EXPECT_EQ(ReadReply(pipe.Get()), "OK");
  EXPECT_TRUE(ReadsEndOfPipe(pipe.Get()));
}

}  // namespace
}  // namespace moorlak::machine
