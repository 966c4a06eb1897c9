#include "adversary/support/role.h"

#include <cstring>
#include <map>
#include <string_view>

#include "base/log.h"
#include "base/paths.h"
#include "base/utf.h"
#include "machine/support/child.h"
#include "service/tunnel_log.h"

namespace moorlak::adversary {
namespace {

constexpr char kRoleWord[] = "role";
constexpr int kNoSuchRole = 2;

using RoleBody = void (*)(std::string_view);

const std::map<std::string_view, RoleBody>& Roles() {
  static const std::map<std::string_view, RoleBody> roles = {
      {"line", [](std::string_view text) { WriteLogLine(text); }},
      {"banner", [](std::string_view text) { WriteSessionBanner(text); }},
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
