#include "machine/support/engine.h"

#include <winsock2.h>
#include <ws2tcpip.h>
#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <winternl.h>

#include "base/utf.h"
#include "machine/support/service_control.h"
#include "support/processes.h"
#include "support/wait.h"

namespace moorlak::machine {
namespace {

constexpr wchar_t kEngineName[] = L"xray.exe";
constexpr uint16_t kFirstPort = 22001;

struct Winsock {
  WSADATA data{};
  Winsock() { EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0); }
};

using Socket = UniqueHandle<SOCKET, closesocket>;

Socket NewSocket() {
  static const Winsock winsock;
  return Socket(::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
}

sockaddr_in Loopback(uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

bool Connects(const sockaddr_in& address) {
  const Socket socket = NewSocket();
  return connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

Socket Listen(uint16_t port) {
  Socket socket = NewSocket();
  const sockaddr_in address = Loopback(port);
  if (bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      listen(socket.Get(), 1) != 0) {
    socket.Reset();
  }
  return socket;
}

std::wstring WebCommand(const std::string& arguments) {
  return L"\"" + InstallFolder() + L"\\web\\web.exe\" " + WidenUtf8(arguments);
}

std::optional<nlohmann::json> RunFetch(const std::string& arguments, uint16_t socksPort) {
  const std::string proxy = socksPort == 0 ? "" : "-socks 127.0.0.1:" + std::to_string(socksPort) + ' ';
  DWORD exitCode = 1;
  const std::string output = RunProgram(WebCommand("fetch " + proxy + arguments), exitCode);
  EXPECT_EQ(exitCode, 0u) << output;
  if (exitCode != 0) return std::nullopt;
  return nlohmann::json::parse(output);
}

// Reads one object from another process.
template <typename T>
bool ReadObject(HANDLE process, const void* address, T& object) {
  return ReadProcessMemory(process, address, &object, sizeof(object), nullptr) != FALSE;
}

// Read from the process's own memory, the only way that both Windows and Wine support. Empty if it cannot be read.
std::wstring CommandLineOf(DWORD processId) {
  const KernelHandle process(OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
  PROCESS_BASIC_INFORMATION basic{};
  PEB environment{};
  RTL_USER_PROCESS_PARAMETERS parameters{};
  if (!process ||
      NtQueryInformationProcess(process.Get(), ProcessBasicInformation, &basic, sizeof(basic), nullptr) != 0 ||
      !ReadObject(process.Get(), basic.PebBaseAddress, environment) ||
      !ReadObject(process.Get(), environment.ProcessParameters, parameters)) {
    return {};
  }
  std::wstring line(parameters.CommandLine.Length / sizeof(wchar_t), L'\0');
  if (!ReadProcessMemory(process.Get(), parameters.CommandLine.Buffer, line.data(), parameters.CommandLine.Length,
                         nullptr)) {
    return {};
  }
  return line;
}

// Id of a child of `parentId` whose command line contains the word; 0 if there is none.
DWORD FindEngine(DWORD parentId, const wchar_t* word, DWORD otherThanId) {
  for (const RunningProcess& engine : ProcessesNamed(kEngineName)) {
    const bool candidate = engine.parentId == parentId && engine.id != otherThanId;
    if (candidate && CommandLineOf(engine.id).find(word) != std::wstring::npos) return engine.id;
  }
  return 0;
}

EngineProcess WaitForProcess(DWORD parentId, const wchar_t* word, DWORD otherThanId) {
  EngineProcess found;
  EXPECT_TRUE(WaitUntil([&] {
    found.id = FindEngine(parentId, word, otherThanId);
    return found.id != 0;
  }));
  found.process.Reset(OpenProcess(SYNCHRONIZE | PROCESS_TERMINATE, FALSE, found.id));
  EXPECT_TRUE(found.process) << GetLastError();
  return found;
}

std::wstring FaultsFile() {
  return InstallFolder() + L"\\xray\\engine_faults.json";
}

}  // namespace

uint16_t NextPort() {
  static uint16_t next = kFirstPort;
  while (!Listen(next)) ++next;
  return next++;
}

std::string EngineConfig(uint16_t socksPort, std::string_view members) {
  return "{" + std::string(members) + R"("log":{"loglevel":"warning"},"inbounds":[{"tag":"in_proxy",)" +
         R"("listen":"127.0.0.1","port":)" + std::to_string(socksPort) +
         R"(,"protocol":"socks","settings":{"udp":false}}],"outbounds":[{"tag":"direct","protocol":"freedom"}]})";
}

bool WaitForListener(uint16_t port, const char* address) {
  sockaddr_in wanted = Loopback(port);
  EXPECT_EQ(inet_pton(AF_INET, address, &wanted.sin_addr), 1);
  return WaitUntil([&] { return Connects(wanted); });
}

PortHolder::PortHolder(uint16_t port) : listener(INVALID_SOCKET) {
  // Connections of an engine that has just ended may hold the port for a moment.
  EXPECT_TRUE(WaitUntil([this, port] {
    listener = Listen(port).Release();
    return listener != INVALID_SOCKET;
  }));
}

PortHolder::~PortHolder() {
  closesocket(listener);
}

WebServer::WebServer() : program(StartProgram(WebCommand("serve"))) {
  // The server prints its address once it listens.
  EXPECT_TRUE(WaitUntil([this] { return Output(program).find('\n') != std::string::npos; }));
  const std::string output = Output(program);
  address = output.substr(0, output.find_first_of("\r\n"));
}

std::string WebServer::Url(std::string_view path) const {
  return "http://" + address + std::string(path);
}

std::optional<Transfer> Fetch(const std::string& url, uint16_t socksPort) {
  const auto result = RunFetch(url, socksPort);
  if (!result) return std::nullopt;
  return Transfer{result->at("status"), result->at("bytes"), result->at("sha256")};
}

std::optional<Transfer> Post(const std::string& url, int64_t bytes, uint16_t socksPort) {
  const std::wstring answer = (std::filesystem::temp_directory_path() / L"machine_test_answer.json").wstring();
  const auto result =
      RunFetch("-o \"" + NarrowUtf16(answer) + "\" -post " + std::to_string(bytes) + ' ' + url, socksPort);
  const std::string received = ReadText(answer);
  DeleteFileW(answer.c_str());
  if (!result) return std::nullopt;
  const auto told = nlohmann::json::parse(received);
  EXPECT_EQ(told.at("sha256"), result->at("sentSha256"));
  return Transfer{result->at("status"), told.at("bytes"), told.at("sha256")};
}

EngineProcess WaitForEngine(DWORD parentId, DWORD otherThanId) {
  return WaitForProcess(parentId, L" -config ", otherThanId);
}

EngineProcess WaitForQuery(DWORD parentId) {
  return WaitForProcess(parentId, L" api ", 0);
}

bool WaitForEnd(const EngineProcess& engine) {
  return WaitForSingleObject(engine.process.Get(), kLongWaitMs) == WAIT_OBJECT_0;
}

void KillEngine(const EngineProcess& engine) {
  EXPECT_TRUE(TerminateProcess(engine.process.Get(), 1)) << GetLastError();
  EXPECT_TRUE(WaitForEnd(engine));
}

bool WaitForNoEngine() {
  return WaitUntil([] { return ProcessesNamed(kEngineName).empty(); });
}

EngineFaults::EngineFaults(std::string_view members) {
  std::ofstream(std::filesystem::path(FaultsFile()), std::ios::binary) << '{' << members << '}';
}

EngineFaults::~EngineFaults() {
  // While an engine reads the file, it cannot be deleted.
  EXPECT_TRUE(WaitUntil([] { return DeleteFileW(FaultsFile().c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND; }));
}

std::wstring StagingFolder() {
  std::array<wchar_t, MAX_PATH + 1> path{};
  EXPECT_NE(GetTempPathW(static_cast<DWORD>(path.size()), path.data()), 0u);
  return std::wstring(path.data()) + L"flutter_vless";
}

std::vector<std::wstring> StagedFiles() {
  std::vector<std::wstring> paths;
  std::error_code missing;
  for (const auto& entry : std::filesystem::directory_iterator(StagingFolder(), missing)) {
    const std::wstring name = entry.path().filename().wstring();
    if (name.starts_with(L"xray_config_") && name.ends_with(L".json")) paths.push_back(entry.path().wstring());
  }
  return paths;
}

std::string ReadText(const std::wstring& path) {
  std::ifstream file(std::filesystem::path(path), std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string ReadStagedText() {
  const std::vector<std::wstring> files = StagedFiles();
  EXPECT_EQ(files.size(), 1u);
  return files.size() == 1 ? ReadText(files.front()) : std::string();
}

}  // namespace moorlak::machine
