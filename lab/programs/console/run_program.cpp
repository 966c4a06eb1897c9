#include "programs/console/run_program.h"

#include "programs/console/program_call.h"

namespace moorlak::lab {

int RunProgram(const std::string& name, int count, wchar_t** arguments, Execute execute) {
  return RunGuarded(name, count, arguments, [&](const Words& words) {
    const Call call = CallOfThisProcess(name);
    PrintNoise(call);
    return static_cast<int>(RunProgramCall(call, words, execute));
  });
}

}  // namespace moorlak::lab
