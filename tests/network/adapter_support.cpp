#include "network/adapter_support.h"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <sstream>

#include "base/handle.h"
#include "base/paths.h"
#include "base/utf.h"
#include "machine/fixtures.h"
#include "support/log_watch.h"

namespace moorlak {
namespace {

constexpr wchar_t kProfiles[] = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkList\\Profiles";

std::wstring Folder() {
  const std::wstring path = ExecutablePath();
  return path.substr(0, path.find_last_of(L'\\') + 1);
}

std::wstring EnginesFolder() {
  return Folder() + L"xray\\";
}

// The lab's library is kept under a name that the product does not look for.
std::wstring LabLibrary() {
  const std::wstring laid = Folder() + L"wintun.dll";
  const std::wstring waiting = Folder() + L"wintun-of-the-lab.dll";
  if (GetFileAttributesW(laid.c_str()) != INVALID_FILE_ATTRIBUTES) {
    EXPECT_TRUE(MoveFileExW(laid.c_str(), waiting.c_str(), MOVEFILE_REPLACE_EXISTING)) << GetLastError();
  }
  return waiting;
}

void Place(const std::wstring& source) {
  CreateDirectoryW(EnginesFolder().c_str(), nullptr);
  RemoveWintun();
  EXPECT_TRUE(CopyFileW(source.c_str(), (EnginesFolder() + L"wintun.dll").c_str(), TRUE)) << GetLastError();
}

RegistryKey OpenProfile(const std::wstring& key) {
  HKEY opened = nullptr;
  const std::wstring path = std::wstring(kProfiles) + L"\\" + key;
  EXPECT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &opened, nullptr),
            ERROR_SUCCESS);
  return RegistryKey(opened);
}

}  // namespace

void AdapterTest::SetUp() {
  // A service starts in this folder.
  SetCurrentDirectoryW(L"C:\\windows");
  lab::CreateMachine(lab::DhcpMachine());
  PlaceWintun();
  RemoveStoredProfiles();
  TakeLogLines();
}

void AdapterTest::TearDown() {
  RemoveStoredProfiles();
  RemoveWintun();
  // Puts it back where the other tests of this program expect it.
  EXPECT_TRUE(MoveFileExW(LabLibrary().c_str(), (Folder() + L"wintun.dll").c_str(), MOVEFILE_REPLACE_EXISTING))
      << GetLastError();
  EXPECT_TRUE(lab::ReadMachine().record.unknownCommands.empty());
}

Lines TakeLogLines() {
  static std::unique_ptr<LogWatch> tail;
  Lines lines;
  std::istringstream messages(tail ? tail->Text() : std::string());
  for (std::string line; std::getline(messages, line);) lines.push_back(line);
  tail = std::make_unique<LogWatch>();
  return lines;
}

void PlaceWintun() {
  Place(LabLibrary());
}

void RemoveWintun() {
  DeleteFileW((EnginesFolder() + L"wintun.dll").c_str());
}

void PlaceBrokenWintun() {
  RemoveWintun();
  const KernelHandle file(CreateFileW((EnginesFolder() + L"wintun.dll").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  EXPECT_TRUE(WriteFile(file.Get(), "no program", 10, &written, nullptr));
}

void PlaceOtherDllAsWintun() {
  Place(Folder() + L"netlist.dll");
}

void PlaceWintunNextToProgram() {
  EXPECT_TRUE(CopyFileW(LabLibrary().c_str(), (Folder() + L"wintun.dll").c_str(), TRUE)) << GetLastError();
}

lab::Device Leftover(const std::string& instanceId, const std::string& friendlyName) {
  lab::Device device;
  device.instanceId = instanceId;
  device.friendlyName = friendlyName;
  device.description = "Some Tunnel";
  device.present = false;
  return device;
}

void AddDevice(const lab::Device& device) {
  lab::EditMachine([&](lab::MachineState& state) { state.devices.push_back(device); });
}

void AddForeignAdapter(const std::string& guid, const std::string& adapterName, const std::string& deviceName) {
  lab::Device device = Leftover("SWD\\Wintun\\" + guid, deviceName);
  device.present = true;
  device.adapterGuid = guid;
  lab::EditMachine([&](lab::MachineState& state) {
    lab::Adapter adapter;
    adapter.name = adapterName;
    adapter.description = device.description;
    adapter.guid = guid;
    adapter.type = 53;
    adapter.luid = lab::Luid(53, 900 + static_cast<uint32_t>(state.adapters.size()));
    adapter.needsSession = true;
    adapter.up = false;
    adapter.ipv4.ifIndex = adapter.ipv6.ifIndex = state.nextIfIndex++;
    state.adapters.push_back(adapter);
    state.devices.push_back(device);
  });
}

bool HasDevice(const std::string& instanceId) {
  const lab::MachineState state = lab::ReadMachine();
  return std::ranges::find(state.devices, instanceId, &lab::Device::instanceId) != state.devices.end();
}

bool HasAdapter(const std::string& name) {
  const lab::MachineState state = lab::ReadMachine();
  return std::ranges::find(state.adapters, name, &lab::Adapter::name) != state.adapters.end();
}

void AddNetwork(const std::string& id, const std::string& name, bool renamable, uint32_t appearsAt) {
  lab::EditMachine([&](lab::MachineState& state) {
    const std::string adapter = state.adapters[1].guid;
    state.networks.push_back({id, name, adapter, renamable, appearsAt});
  });
}

std::string NetworkName(const std::string& id) {
  const lab::MachineState state = lab::ReadMachine();
  const auto found = std::ranges::find(state.networks, id, &lab::Network::id);
  return found == state.networks.end() ? "(none)" : found->name;
}

void FailCall(const std::string& call, uint32_t code, uint32_t nth) {
  ClearFaults();
  PlanFault("fail", call, {}, nth, code);
}

bool WasFaultMet() {
  return lab::ReadMachine().faults.at(0).hit;
}

size_t CountCalls(const std::string& call) {
  const Lines calls = lab::ReadCallLog();
  return static_cast<size_t>(std::ranges::count_if(
      calls, [&](const std::string& line) { return line.find(" " + call + " ") != std::string::npos; }));
}

void StoreProfileText(const std::wstring& key, const std::wstring& name, uint32_t type) {
  StoreProfileBytes(key, type, name.c_str(), static_cast<uint32_t>((name.size() + 1) * sizeof(wchar_t)));
}

void StoreProfileBytes(const std::wstring& key, uint32_t type, const void* data, uint32_t size) {
  const RegistryKey profile = OpenProfile(key);
  EXPECT_EQ(RegSetValueExW(profile.Get(), L"ProfileName", 0, type, static_cast<const BYTE*>(data), size),
            ERROR_SUCCESS);
}

std::optional<StoredName> ReadStoredProfile(const std::wstring& key) {
  const RegistryKey profile = OpenProfile(key);
  StoredName stored;
  DWORD type = 0;
  wchar_t text[512] = {};
  DWORD size = sizeof text;
  if (RegQueryValueExW(profile.Get(), L"ProfileName", nullptr, &type, reinterpret_cast<BYTE*>(text), &size) !=
      ERROR_SUCCESS)
    return std::nullopt;
  stored.type = type;
  stored.text.assign(text, size / sizeof(wchar_t));
  return stored;
}

void RemoveStoredProfiles() {
  RegDeleteTreeW(HKEY_LOCAL_MACHINE, kProfiles);
}

}  // namespace moorlak
