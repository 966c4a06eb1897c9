// The ground of the tests of the adapter holder and what belongs to it: a fresh machine, the driver library in its
// place, no stored profiles, no log lines.
#pragma once

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "machine/machine.h"

namespace moorlak {

using Lines = std::vector<std::string>;

inline const std::string kOwnGuid = "{6D6F6F72-6C61-4E01-9A11-4D6F6F726C61}";
inline const std::string kOwnDevice = "SWD\\Wintun\\" + kOwnGuid;
inline const std::string kStrayGuid = "{0A1B2C3D-0001-4000-8000-00000000000A}";
inline const std::string kStrayDevice = "SWD\\Wintun\\" + kStrayGuid;

class AdapterTest : public testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
};

// The messages that the product has written to its log since the last time.
Lines TakeLogLines();

// The driver library in the engines' folder, where the product looks for it first: the lab's; none; another file; a
// DLL that is none of the driver's.
void PlaceWintun();
void RemoveWintun();
void PlaceBrokenWintun();
void PlaceOtherDllAsWintun();
// A good one beside the program, where the product looks later.
void PlaceWintunBesideProgram();

// A Wintun device as a process that has died leaves it: listed, not present, without an adapter.
lab::Device Leftover(const std::string& instanceId, const std::string& friendlyName);
void AddDevice(const lab::Device& device);

// A present Wintun device that no process of ours holds, with its adapter, which may have another name.
void AddForeignAdapter(const std::string& guid, const std::string& adapterName, const std::string& deviceName);

bool HasDevice(const std::string& instanceId);
bool HasAdapter(const std::string& name);

void AddNetwork(const std::string& id, const std::string& name, bool renamable = true, uint32_t appearsAt = 0);
std::string NetworkName(const std::string& id);

// Makes the n-th call of the function fail (0: every one).
void FailCall(const std::string& call, uint32_t code, uint32_t nth = 1);
void ClearFaults();
// Whether the only planned fault was met.
bool WasFaultMet();

// How often the call log tells of the function.
size_t CountCalls(const std::string& call);

// The stored network profiles in the real registry: a subkey with ProfileName. Text is written with its end.
void StoreProfileText(const std::wstring& key, const std::wstring& name, uint32_t type = 1);
void StoreProfileBytes(const std::wstring& key, uint32_t type, const void* data, uint32_t size);
struct StoredName {
  uint32_t type = 0;
  std::wstring text;  // with its end, as the bytes are
};
std::optional<StoredName> ReadStoredProfile(const std::wstring& key);
void RemoveStoredProfiles();

}  // namespace moorlak
