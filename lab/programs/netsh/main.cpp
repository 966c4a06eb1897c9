#include "programs/console/run_program.h"
#include "programs/netsh/netsh.h"

int wmain(int count, wchar_t** arguments) {
  return moorlak::lab::RunProgram("netsh", count, arguments, moorlak::lab::RunNetsh);
}
