#include "machine/support/pipe_client.h"

#include <gtest/gtest.h>

#include "support/wait.h"

namespace moorlak::machine {
namespace {

bool ReadAll(HANDLE pipe, void* buffer, size_t count) {
  auto* at = static_cast<char*>(buffer);
  while (count > 0) {
    DWORD got = 0;
    if (!ReadFile(pipe, at, static_cast<DWORD>(count), &got, nullptr) || got == 0) return false;
    at += got;
    count -= got;
  }
  return true;
}

}  // namespace

KernelHandle ConnectPipe(std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  for (;;) {
    KernelHandle pipe(CreateFileW(kPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    if (pipe || std::chrono::steady_clock::now() >= deadline) return pipe;
    // Between two instances of the server the name does not exist for a moment, so every failure is retried.
    if (!WaitNamedPipeW(kPipeName, 100)) Sleep(1);
  }
}

DWORD ServerOf(HANDLE pipe) {
  ULONG processId = 0;
  EXPECT_TRUE(GetNamedPipeServerProcessId(pipe, &processId)) << GetLastError();
  return processId;
}

bool SendBytes(HANDLE pipe, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    if (!WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) return false;
    bytes.remove_prefix(written);
  }
  return true;
}

std::optional<std::string> ReadReply(HANDLE pipe) {
  WireNumber length{};
  if (!ReadAll(pipe, length.data(), length.size())) return std::nullopt;
  std::string reply(DecodeNumber(length), '\0');
  if (!ReadAll(pipe, reply.data(), reply.size())) return std::nullopt;
  return reply;
}

bool ReadsEndOfPipe(HANDLE pipe) {
  char byte = 0;
  return !ReadAll(pipe, &byte, 1);
}

std::optional<std::string> Ask(CommandCode code, std::string_view payload) {
  const KernelHandle pipe = ConnectPipe();
  if (!pipe || !SendBytes(pipe.Get(), EncodeRequest(code, payload))) return std::nullopt;
  return ReadReply(pipe.Get());
}

std::string RawRequest(uint32_t code, uint32_t length, std::string_view payload) {
  std::string bytes;
  for (const uint32_t number : {code, length}) {
    const WireNumber encoded = EncodeNumber(number);
    bytes.append(encoded.begin(), encoded.end());
  }
  return bytes.append(payload);
}

std::string StartTunnel(bool proxyMode, std::string_view config) {
  return Ask(CommandCode::Start, EncodeStartPayload(proxyMode, config)).value_or("(no reply)");
}

StatusReply AskStatus() {
  const std::string reply = Ask(CommandCode::Status).value_or("(no reply)");
  const auto status = ParseStatusReply(reply);
  EXPECT_TRUE(status.has_value()) << reply;
  return status.value_or(StatusReply{});
}

}  // namespace moorlak::machine
