// For tests of the adapter holder and its parts: a new machine, the driver library in its place, no stored profiles, no
// log lines.
#pragma once

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "machine/machine.h"
#include "support/faults.h"

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

// Messages that the product has logged since the last call.
Lines TakeLogLines();

// The driver library in the engines' folder, where the product looks first: the lab's, none, another file, or a DLL
// that is not the driver's.
void PlaceWintun();
void RemoveWintun();
void PlaceBrokenWintun();
void PlaceOtherDllAsWintun();
// A good one next to the program, where the product looks later.
void PlaceWintunNextToProgram();

// A Wintun device as left by a process that has died: listed, not present, without an adapter.
lab::Device Leftover(const std::string& instanceId, const std::string& friendlyName);
void AddDevice(const lab::Device& device);

// A present Wintun device that no process of ours holds, with its adapter, whose name may differ.
void AddForeignAdapter(const std::string& guid, const std::string& adapterName, const std::string& deviceName);

bool HasDevice(const std::string& instanceId);
bool HasAdapter(const std::string& name);

void AddNetwork(const std::string& id, const std::string& name, bool renamable = true, uint32_t appearsAt = 0);
std::string NetworkName(const std::string& id);

// The only planned fault from now on: the n-th call of the function fails (0: every call).
void FailCall(const std::string& call, uint32_t code, uint32_t nth = 1);
// Whether the only planned fault was hit.
bool WasFaultMet();

// How often the call log contains the function.
size_t CountCalls(const std::string& call);

// Stored network profiles in the real registry: each is a subkey with ProfileName. Text is written with its terminator.
void StoreProfileText(const std::wstring& key, const std::wstring& name, uint32_t type = 1);
void StoreProfileBytes(const std::wstring& key, uint32_t type, const void* data, uint32_t size);
struct StoredName {
  uint32_t type = 0;
  std::wstring text;  // with its terminator, as in the bytes
};
std::optional<StoredName> ReadStoredProfile(const std::wstring& key);
void RemoveStoredProfiles();

}  // namespace moorlak
