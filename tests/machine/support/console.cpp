#include "machine/support/console.h"

#include <gtest/gtest.h>

#include "machine/support/service_control.h"

namespace moorlak::machine {

std::wstring ServiceCommand(const std::wstring& arguments) {
  return L"\"" + InstallFolder() + L"\\moorlak_service.exe\" " + arguments;
}

Console StartConsole(const std::wstring& arguments) {
  Console console;
  SECURITY_ATTRIBUTES inheritable{sizeof(inheritable), nullptr, TRUE};
  KernelHandle input;
  EXPECT_TRUE(CreatePipe(input.Out(), console.keyboard.Out(), &inheritable, 0));
  SetHandleInformation(console.keyboard.Get(), HANDLE_FLAG_INHERIT, 0);
  console.program = StartProgram(ServiceCommand(arguments), input.Get());
  return console;
}

void PressEnter(const Console& console) {
  DWORD written = 0;
  EXPECT_TRUE(WriteFile(console.keyboard.Get(), "\n", 1, &written, nullptr));
}

}  // namespace moorlak::machine
