#include "programs/console/run_program.h"
#include "programs/ipconfig/ipconfig.h"

int wmain(int count, wchar_t** arguments) {
  return moorlak::lab::RunProgram("ipconfig", count, arguments, moorlak::lab::RunIpconfig);
}
