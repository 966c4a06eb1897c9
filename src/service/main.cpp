#include "base/threads.h"
#include "service/console_host.h"
#include "service/hardening.h"
#include "service/process_host.h"
#include "service/recovery.h"
#include "service/service_host.h"
#include "text/letter_case.h"

namespace {

bool Wants(const wchar_t* word, int argumentCount, wchar_t** arguments) {
  return argumentCount > 1 && moorlak::EqualFolded(arguments[1], word);
}

}  // namespace

int wmain(int argumentCount, wchar_t** arguments) {
  int exitCode = 0;
  moorlak::HardenProcess();
  moorlak::SuppressSystemDialogs();
  moorlak::RunThreadBody("main", [&] {
    if (Wants(L"--console", argumentCount, arguments)) {
      moorlak::RunInConsole();
    } else if (Wants(L"--recover", argumentCount, arguments)) {
      exitCode = moorlak::RunRecoveryOnly();
    } else {
      exitCode = moorlak::RunAsService();
    }
  });
  return exitCode;
}
