// Both ends of a private named pipe inside the test process.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>
#include <string>

#include "base/handle.h"

namespace moorlak {

struct PipePair {
  KernelHandle server;
  KernelHandle client;
};

// The server end is opened like the service's own pipe; calls on the client end block.
inline PipePair OpenPipePair(DWORD bufferBytes = 0x100000) {
  static int counter = 0;
  const std::wstring name =
      L"\\\\.\\pipe\\moorlak_test_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++counter);
  PipePair pair;
  pair.server = KernelHandle(
      CreateNamedPipeW(name.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
                       PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, bufferBytes, bufferBytes, 0, nullptr));
  EXPECT_TRUE(pair.server);
  pair.client =
      KernelHandle(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  EXPECT_TRUE(pair.client);
  return pair;
}

// Writes through the client end. False if the server end is closed.
inline bool SendAll(HANDLE client, const std::string& bytes) {
  DWORD written = 0;
  return WriteFile(client, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
         written == bytes.size();
}

// Reads through the client end until `count` bytes have arrived or the server end is closed.
inline std::string ReceiveAll(HANDLE client, size_t count) {
  std::string bytes(count, '\0');
  size_t done = 0;
  DWORD got = 0;
  while (done < count && ReadFile(client, bytes.data() + done, static_cast<DWORD>(count - done), &got, nullptr) &&
         got > 0) {
    done += got;
  }
  bytes.resize(done);
  return bytes;
}

}  // namespace moorlak
