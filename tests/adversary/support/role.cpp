#include "adversary/support/role.h"

#include <cstring>
#include <map>
#include <string_view>

#include "adversary/support/strict_files.h"
#include "base/data_files.h"
#include "base/durable_file.h"
#include "base/handle.h"
#include "base/log.h"
#include "base/paths.h"
#include "base/utf.h"
#include "config/config_staging.h"
#include "machine/support/child.h"
#include "service/tunnel_log.h"

namespace moorlak::adversary {
namespace {

constexpr char kRoleWord[] = "role";
constexpr int kNoSuchRole = 2;

using RoleBody = void (*)(std::string_view);

void Print(std::string_view text) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void WatchLog(std::string_view text) {
  WriteLogLine(text);
  const KernelHandle exclusive(CreateFileW(kLogFile, GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  Print(!exclusive && GetLastError() == ERROR_SHARING_VIOLATION ? "held" : "free");
}

void AbuseLog(std::string_view text) {
  WriteLogLine(text);
  CreateHardLinkW((std::wstring(kDataFolder) + L"\\second name").c_str(), kLogFile, nullptr);
  WriteLogLine("after the second name");
  MarkAsReadOnly(kLogFile);
  WriteLogLine("after the attribute");
}

void Backup(std::string_view name) {
  Print(WriteRecoveryFile(WidenUtf8(name).c_str(), "v1\n") ? "written" : "failed");
}

void Believe(std::string_view name) {
  std::string content;
  switch (ReadRecoveryFile(WidenUtf8(name).c_str(), 1u << 20, content)) {
    case FileRead::Done:
      return Print("believed");
    case FileRead::Missing:
      return Print("missing");
    case FileRead::Unreadable:
      return Print("unreadable");
    case FileRead::NotBelieved:
      return Print("not believed");
  }
}

void Stage(std::string_view text) {
  StagedConfig staged;
  Print(WriteStagedConfig(text, staged) ? "staged" : "failed");
  RemoveStagedConfig(staged);
}

const std::map<std::string_view, RoleBody>& Roles() {
  static const std::map<std::string_view, RoleBody> roles = {
      {"line", [](std::string_view text) { WriteLogLine(text); }},
      {"banner", [](std::string_view text) { WriteSessionBanner(text); }},
      {"watch", WatchLog},
      {"abuse", AbuseLog},
      {"backup", Backup},
      {"believe", Believe},
      {"stage", Stage},
  };
  return roles;
}

}  // namespace

bool IsRole(int argumentCount, char** arguments) {
  return argumentCount == 4 && std::strcmp(arguments[1], kRoleWord) == 0;
}

int PlayRole(char** arguments) {
  const auto role = Roles().find(arguments[2]);
  if (role == Roles().end()) return kNoSuchRole;
  BeStrictAboutFiles();
  role->second(arguments[3]);
  return 0;
}

Played Play(const std::string& role, const std::string& text) {
  Played played;
  const std::wstring command =
      L"\"" + ExecutablePath() + L"\" " + WidenUtf8(std::string(kRoleWord) + " " + role + " \"" + text + "\"");
  played.output = machine::RunProgram(command, played.exitCode);
  return played;
}

}  // namespace moorlak::adversary
