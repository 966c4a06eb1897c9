// A process that protects the machine as the service does, so that tests can end it at any point. Runs its words in
// order: "apply", "remove", "recover", and "end" for a sudden end. Exit code 0 unless an apply was refused (1) or a
// word is unknown (2).
#include <windows.h>

#include <string_view>

#include "network/support/wanted_protection.h"

namespace moorlak {
namespace {

const std::atomic<bool> running{true};

int Do(Protection& protection, std::string_view word) {
  if (word == "apply") return protection.Apply(WantedProtection(), running) ? 0 : 1;
  if (word == "remove") {
    protection.Remove();
  } else if (word == "recover") {
    protection.Recover();
  } else if (word == "end") {
    TerminateProcess(GetCurrentProcess(), 0);
  } else {
    return 2;
  }
  return 0;
}

}  // namespace
}  // namespace moorlak

int main(int argumentCount, char** arguments) {
  moorlak::Protection protection;
  for (int i = 1; i < argumentCount; ++i) {
    if (const int code = moorlak::Do(protection, arguments[i])) return code;
  }
  return 0;
}
