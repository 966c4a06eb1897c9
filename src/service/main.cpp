#include "base/thread_body.h"
#include "service/console_host.h"
#include "service/hardening.h"
#include "service/process_host.h"
#include "service/service_host.h"
#include "text/letter_case.h"

namespace {

bool WantsConsole(int argumentCount, wchar_t** arguments) {
  return argumentCount > 1 && moorlak::EqualFolded(arguments[1], L"--console");
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  int exitCode = 0;
  moorlak::HardenProcess();
  moorlak::TrustEveryCaller();
  moorlak::RunThreadBody("main", [&] {
    if (WantsConsole(argumentCount, arguments)) {
      moorlak::RunInConsole();
    } else {
      exitCode = moorlak::RunAsService();
    }
  });
  return exitCode;
}
