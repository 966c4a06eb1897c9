// The service in console mode, with the Enter key under the test's control.
#pragma once

#include <string>

#include "base/handle.h"
#include "machine/support/child.h"

namespace moorlak::machine {

// Command line of the shipped service.
std::wstring ServiceCommand(const std::wstring& arguments);

struct Console {
  // Write end of the program's standard input; closing it is the end of input.
  KernelHandle keyboard;
  Child program;
};
Console StartConsole(const std::wstring& arguments = L"--console");
void PressEnter(const Console& console);

}  // namespace moorlak::machine
