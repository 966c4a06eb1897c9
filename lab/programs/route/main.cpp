#include "programs/console/run_program.h"
#include "programs/route/route.h"

int wmain(int count, wchar_t** arguments) {
  return moorlak::lab::RunProgram("route", count, arguments, moorlak::lab::RunRoute);
}
