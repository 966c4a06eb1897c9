#include "process/engine_rights.h"

namespace moorlak {
namespace {

std::string_view NameOf(EngineRights rights) {
  switch (rights) {
    case EngineRights::LocalService:
      return "LocalService";
    case EngineRights::Unprivileged:
      return "the service without privileges";
    case EngineRights::Own:
      break;
  }
  return "the service";
}

}  // namespace

void StepDown(EngineRightsChoice& choice, std::string_view failure) {
  if (choice.rights == EngineRights::Own) return;
  if (!choice.reason.empty()) choice.reason += "; ";
  choice.reason.append("not as ").append(NameOf(choice.rights)).append(": ").append(failure);
  choice.rights = choice.rights == EngineRights::LocalService ? EngineRights::Unprivileged : EngineRights::Own;
}

void TakeOwnRights(EngineRightsChoice& choice, std::string_view reason) {
  choice.rights = EngineRights::Own;
  choice.reason = reason;
}

bool IsTestedAgain(const EngineRightsChoice& choice, const ConfigTestResult& result) {
  return choice.rights != EngineRights::Own && !result.timedOut && result.exitCode != 0;
}

std::string EngineRightsLine(const EngineRightsChoice& choice) {
  std::string line = "Xray runs as ";
  line += NameOf(choice.rights);
  if (!choice.reason.empty()) line += " (" + choice.reason + ")";
  return line;
}

}  // namespace moorlak
