#include "base/object_trust.h"

#include <algorithm>
#include <array>
#include <span>

namespace moorlak {
namespace {

// Every right that allows changing the content, place, attributes or rights of a file or folder: write or add a file,
// append or add a folder, extended attributes, delete a child, attributes, delete, rights, owner, and the generic
// rights that contain some of these. From "File Access Rights Constants" and "ACCESS_MASK" on Microsoft Learn.
constexpr uint32_t kChangingRights = 0x2 | 0x4 | 0x10 | 0x40 | 0x100 | 0x10000 | 0x40000 | 0x80000 |
                                     0x02000000 |  // maximum allowed
                                     0x10000000 | 0x40000000;

using Accounts = std::span<const std::string_view>;

// The user of this process may be unknown, and so may the account of an entry.
bool IsOneOf(std::string_view sid, Accounts accounts) {
  return !sid.empty() && std::ranges::find(accounts, sid) != accounts.end();
}

// Ignores denials: an account that one entry grants a right counts as having it.
bool LetsOthersChange(const AccessEntry& entry, Accounts mayChange) {
  return entry.grants && !entry.inheritOnly && (entry.rights & kChangingRights) != 0 && !IsOneOf(entry.sid, mayChange);
}

bool IsClosed(const ObjectFacts& facts, Accounts mayChange) {
  return facts.hasList && std::ranges::none_of(facts.entries, [&](const AccessEntry& entry) {
           return LetsOthersChange(entry, mayChange);
         });
}

}  // namespace

bool IsTrustedOwner(std::string_view owner, std::string_view ownUser) {
  return IsOneOf(owner, std::array{kSystemSid, kAdministratorsSid, ownUser});
}

ObjectVerdict JudgeObject(const ObjectFacts& facts, const ObjectDemands& demands, std::string_view ownUser) {
  if (facts.isReparsePoint) return ObjectVerdict::ReparsePoint;
  if (facts.isFolder != demands.folder) return ObjectVerdict::WrongKind;
  // Another name of the file may be that of one of the system's own files.
  if (!facts.isFolder && facts.links != 1) return ObjectVerdict::TooManyLinks;
  if (!IsTrustedOwner(facts.owner, ownUser)) return ObjectVerdict::Stranger;
  const std::array mayChange{kSystemSid, kAdministratorsSid, ownUser, kOwnerRightsSid};
  if (demands.closed && !IsClosed(facts, mayChange)) return ObjectVerdict::WritableByOthers;
  return ObjectVerdict::Ours;
}

bool CanOthersChange(const ObjectFacts& facts, std::string_view ownUser) {
  if (facts.owner.empty()) return false;
  if (!IsTrustedOwner(facts.owner, ownUser) && facts.owner != kTrustedInstallerSid) return true;
  return !IsClosed(facts, std::array{kSystemSid, kAdministratorsSid, kTrustedInstallerSid, ownUser, kOwnerRightsSid,
                                     kCreatorOwnerSid});
}

std::string_view VerdictText(ObjectVerdict verdict) {
  switch (verdict) {
    case ObjectVerdict::Ours:
      return "is ours";
    case ObjectVerdict::ReparsePoint:
      return "is a reparse point";
    case ObjectVerdict::WrongKind:
      return "is of another kind";
    case ObjectVerdict::TooManyLinks:
      return "has another name";
    case ObjectVerdict::Stranger:
      return "belongs to somebody else";
    case ObjectVerdict::WritableByOthers:
      return "can be changed by others";
  }
  return "";
}

LogNameStep DecideLogName(const ObjectFacts& facts, std::string_view ownUser) {
  if (JudgeObject(facts, {}, ownUser) != ObjectVerdict::Ours) return LogNameStep::PutAside;
  // Only for a trusted file: if it had a second name, this would change another file's attribute.
  return facts.isReadOnly ? LogNameStep::MakeWritable : LogNameStep::Use;
}

std::wstring AsideName(std::wstring_view name, uint64_t number) {
  return std::wstring(name) + L".untrusted-" + std::to_wstring(number);
}

}  // namespace moorlak
