// The real engine, seen from outside: its configuration, its process, its staged file, its faults, the traffic it
// carries.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/handle.h"
#include "machine/support/child.h"

namespace moorlak::machine {

// A port of 127.0.0.1 that no test of this run has had before: a killed engine's connections keep its port for a while.
// Below the range from which outgoing connections take theirs.
uint16_t NextPort();

// A SOCKS inbound on that port and a direct outbound. The members, each ended by a comma, go in front.
std::string EngineConfig(uint16_t socksPort, std::string_view members = {});

// Waits until somebody listens on the port of that address, dotted.
bool WaitForListener(uint16_t port, const char* address = "127.0.0.1");

// Somebody else's listener on the port, as long as it lives.
class PortHolder {
 public:
  explicit PortHolder(uint16_t port);
  PortHolder(const PortHolder&) = delete;
  PortHolder& operator=(const PortHolder&) = delete;
  ~PortHolder();

 private:
  uintptr_t listener;
};

// The lab's web server on a free port.
struct WebServer {
  WebServer();
  std::string Url(std::string_view path) const;

  Child program;
  std::string address;
};

struct Transfer {
  int status = 0;
  int64_t bytes = 0;
  std::string sha256;
};
// Gets the page in a process of its own, through the SOCKS port (0: directly); the process fails when the bytes are not
// those that the server announced.
std::optional<Transfer> Fetch(const std::string& url, uint16_t socksPort = 0);
// Sends that many bytes and returns what the server received.
std::optional<Transfer> Post(const std::string& url, int64_t bytes, uint16_t socksPort);

// One engine. The handle can be waited on and terminated.
struct EngineProcess {
  DWORD id = 0;
  KernelHandle process;
};
// Waits for the engine that the process of that id has started; what only asks an engine for counters is none.
EngineProcess WaitForEngine(DWORD parentId, DWORD otherThanId = 0);
// Waits until the process of that id asks an engine for its counters, and returns the query.
EngineProcess WaitForQuery(DWORD parentId);
bool WaitForEnd(const EngineProcess& engine);
// Ends it as a crash would.
void KillEngine(const EngineProcess& engine);
// Waits until no process of the engine's program is left, queries included.
bool WaitForNoEngine();

// Makes every engine and query misbehave that starts while this lives; members as lab/engine/README.md tells.
struct EngineFaults {
  explicit EngineFaults(std::string_view members);
  EngineFaults(const EngineFaults&) = delete;
  EngineFaults& operator=(const EngineFaults&) = delete;
  ~EngineFaults();
};

// The service's staging folder: its temporary folder is this program's too.
std::wstring StagingFolder();
// Full paths of the staged configurations.
std::vector<std::wstring> StagedFiles();
// Empty when it cannot be read.
std::string ReadText(const std::wstring& path);
// Text of the one staged file; a failure when there is none or more than one.
std::string ReadStagedText();

}  // namespace moorlak::machine
