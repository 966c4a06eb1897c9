// Whom the service believes, decided from what a file or folder says of itself: plain values in, a verdict out. The
// values are read in base/trust.h.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

// Accounts by the text of their SID ("Well-known SIDs" of Microsoft Learn).
inline constexpr std::string_view kSystemSid = "S-1-5-18";
inline constexpr std::string_view kAdministratorsSid = "S-1-5-32-544";
// Windows' own installer, the service TrustedInstaller, to which the folders of programs belong.
inline constexpr std::string_view kTrustedInstallerSid =
    "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
// Means the object's owner, in its list.
inline constexpr std::string_view kOwnerRightsSid = "S-1-3-4";
// Means whoever creates something in a folder, in the folder's list; no token has it.
inline constexpr std::string_view kCreatorOwnerSid = "S-1-3-0";

// One entry of an access list ("ACE" of Microsoft Learn).
struct AccessEntry {
  // Anything but a plain denial: an entry of a kind that is not known here may grant.
  bool grants = false;
  // Stands there for what will be made below a folder, and gives nothing on the folder itself.
  bool inheritOnly = false;
  // The access mask as it stands there, generic rights included ("Access Mask Format" of Microsoft Learn).
  uint32_t rights = 0;
  // Empty when it cannot be told whom the entry is for.
  std::string sid;
};

struct ObjectFacts {
  bool isFolder = false;
  bool isReparsePoint = false;
  bool isReadOnly = false;
  // Names of a file; a folder has one.
  uint32_t links = 0;
  // Empty when it cannot be read.
  std::string owner;
  // Without a list everybody may do everything.
  bool hasList = false;
  std::vector<AccessEntry> entries;
};

enum class ObjectVerdict {
  Ours,
  ReparsePoint,
  WrongKind,
  TooManyLinks,
  Stranger,
  WritableByOthers,
};

// True if objects of this owner are believed: LocalSystem, the Administrators group and the user this process runs as
// are trusted. Either text may be empty if it is not known; an unknown owner is not trusted.
bool IsTrustedOwner(std::string_view owner, std::string_view ownUser);

// What an object must be to be believed.
struct ObjectDemands {
  bool folder = false;
  // Nobody but the trusted accounts may change it. Otherwise its rights do not count, because they are about to be set.
  bool closed = false;
};

// The verdict on an object for a process that runs as this user, who is trusted as above. The first thing that is
// wrong is the one that is told.
ObjectVerdict JudgeObject(const ObjectFacts& facts, const ObjectDemands& demands, std::string_view ownUser);

// True if an installed file or folder is owned by, or can be changed by, anybody but LocalSystem, the Administrators
// group, Windows' own installer and this user. Changing a folder includes adding something to it and deleting something
// in it. False if the owner is not known.
bool CanOthersChange(const ObjectFacts& facts, std::string_view ownUser);

// The verdict in a few words for a log line: "is a reparse point".
std::string_view VerdictText(ObjectVerdict verdict);

// What becomes of the object that stands under a name of the log's.
enum class LogNameStep { Use, MakeWritable, PutAside };
LogNameStep DecideLogName(const ObjectFacts& facts, std::string_view ownUser);

// Name under which something of a stranger's is put aside, the number counted from 1.
std::wstring AsideName(std::wstring_view name, uint64_t number);

}  // namespace moorlak
