// The rights decisions: a security descriptor as text in, a verdict out. Whatever the list says, an object is ours, or
// an installed one closed, only when Windows' own way of going through it, walked here entry by entry, grants nobody
// else a right that changes it.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/object_trust.h"
#include "check.h"
#include "sddl/sddl_reader.h"

namespace moorlak {
namespace {

constexpr char kOwnUser[] = "S-1-5-21-1-2-3-1001";
constexpr ObjectDemands kClosedFile{false, true};

// What a generic right means for a file ("Access Control" on Microsoft Learn, file rights).
uint32_t Mapped(uint32_t rights) {
  uint32_t mapped = rights & 0x0FFFFFFF;
  if ((rights & 0x80000000) != 0) mapped |= 0x120089;
  if ((rights & 0x40000000) != 0) mapped |= 0x120116;
  if ((rights & 0x20000000) != 0) mapped |= 0x1200A0;
  if ((rights & 0x10000000) != 0) mapped |= 0x1F01FF;
  return mapped;
}

// "How AccessCheck Works": entries are evaluated in order; what was denied before is not granted later.
uint32_t GrantedTo(std::string_view sid, const ObjectFacts& facts) {
  if (!facts.hasList) return 0x1F01FF;
  uint32_t granted = 0;
  uint32_t denied = 0;
  for (const AccessEntry& entry : facts.entries) {
    if (entry.inheritOnly || entry.sid != sid) continue;
    if (entry.grants) {
      granted |= Mapped(entry.rights) & ~denied;
    } else {
      denied |= Mapped(entry.rights) & ~granted;
    }
  }
  return granted;
}

bool IsAStranger(std::string_view sid) {
  return sid != "S-1-5-18" && sid != "S-1-5-32-544" && sid != kOwnUser && sid != "S-1-3-4";
}

// Read, execute, read the rights, wait: all that is left.
bool MayOnlyRead(std::string_view sid, const ObjectFacts& facts) {
  return (GrantedTo(sid, facts) & 0x1F01FF & ~0x1200A9u) == 0;
}

void CheckOurs(const ObjectFacts& facts) {
  CHECK_PROPERTY(!IsAStranger(facts.owner) && facts.owner != "S-1-3-4");
  CHECK_PROPERTY(facts.hasList);
  for (const AccessEntry& entry : facts.entries) {
    if (IsAStranger(entry.sid)) CHECK_PROPERTY(MayOnlyRead(entry.sid, facts));
  }
}

bool IsAStrangerToTheInstallation(std::string_view sid) {
  return IsAStranger(sid) && sid != "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
}

void CheckInstalled(const ObjectFacts& facts, ObjectVerdict verdict) {
  const bool isOpen = CanOthersChange(facts, kOwnUser);
  if (facts.owner.empty()) {
    CHECK_PROPERTY(!isOpen);
    return;
  }
  // Whatever is believed is closed.
  if (verdict == ObjectVerdict::Ours) CHECK_PROPERTY(!isOpen);
  if (isOpen) return;
  CHECK_PROPERTY(!IsAStrangerToTheInstallation(facts.owner) && facts.hasList);
  for (const AccessEntry& entry : facts.entries) {
    // No token has the account that means the creator.
    if (IsAStrangerToTheInstallation(entry.sid) && entry.sid != "S-1-3-0")
      CHECK_PROPERTY(MayOnlyRead(entry.sid, facts));
  }
}

ObjectVerdict With(ObjectFacts facts, const AccessEntry& entry) {
  facts.entries.insert(facts.entries.begin(), entry);
  return JudgeObject(facts, kClosedFile, kOwnUser);
}

void CheckEntriesAdded(const ObjectFacts& facts, ObjectVerdict verdict) {
  CHECK_PROPERTY(With(facts, {true, false, 0x1200A9, "S-1-5-32-545"}) == verdict);
  CHECK_PROPERTY(With(facts, {false, false, 0x1F01FF, "S-1-5-32-545"}) == verdict);
  CHECK_PROPERTY(With(facts, {true, true, 0x1F01FF, "S-1-5-32-545"}) == verdict);
  CHECK_PROPERTY(With(facts, {true, false, 0x1F01FF, "S-1-5-18"}) == verdict);
  if (verdict == ObjectVerdict::Ours) {
    CHECK_PROPERTY(With(facts, {true, false, 0x2, "S-1-5-32-545"}) == ObjectVerdict::WritableByOthers);
    CHECK_PROPERTY(With(facts, {true, false, 0x40000, ""}) == ObjectVerdict::WritableByOthers);
  }
}

// The order of the checks, and what each verdict means.
void CheckObject(ObjectFacts facts, uint8_t shape) {
  facts.isFolder = (shape & 1) != 0;
  facts.isReparsePoint = (shape & 2) != 0;
  facts.isReadOnly = (shape & 4) != 0;
  facts.links = shape >> 6;
  const ObjectDemands demands{(shape & 8) != 0, (shape & 16) != 0};
  const ObjectVerdict verdict = JudgeObject(facts, demands, kOwnUser);
  if (facts.isReparsePoint) CHECK_PROPERTY(verdict == ObjectVerdict::ReparsePoint);
  if (verdict == ObjectVerdict::Ours) {
    CHECK_PROPERTY(facts.isFolder == demands.folder && !facts.isReparsePoint && (facts.isFolder || facts.links == 1));
    CHECK_PROPERTY(!IsAStranger(facts.owner));
  }
  const LogNameStep step = DecideLogName(facts, kOwnUser);
  const bool isOurLog = JudgeObject(facts, {}, kOwnUser) == ObjectVerdict::Ours;
  CHECK_PROPERTY((step == LogNameStep::PutAside) == !isOurLog);
  CHECK_PROPERTY((step == LogNameStep::MakeWritable) == (isOurLog && facts.isReadOnly));
}

void CheckText(std::string_view text) {
  if (text.empty()) return;
  const auto facts = ReadSddl(text.substr(1));
  if (!facts) return;
  const ObjectVerdict verdict = JudgeObject(*facts, kClosedFile, kOwnUser);
  if (verdict == ObjectVerdict::Ours) CheckOurs(*facts);
  CheckInstalled(*facts, verdict);
  CheckEntriesAdded(*facts, verdict);
  CheckObject(*facts, static_cast<uint8_t>(text[0]));
}

}  // namespace
}  // namespace moorlak

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  moorlak::CheckText(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
