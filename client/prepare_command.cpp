#include <string>

#include "base/paths.h"
#include "client/commands.h"
#include "client/config_file.h"
#include "client/config_text.h"
#include "client/folder_executables.h"
#include "client/prepare.h"
#include "client/system_error.h"

namespace moorlak::client {

ExitCode RunPrepare(Console& console, const Arguments& arguments) {
  const ConfigFile file = ReadConfigFile(arguments.file);
  const ConfigText config = file.error.empty() ? PrepareConfigText(file.bytes) : ConfigText{{}, file.error};
  if (!config.error.empty()) {
    Complain(console, config.error);
    return ExitCode::Usage;
  }
  const PreparedConfig prepared = PrepareAsService(config.text, PortableListing(IsFixedOrRemovableDrive));
  if (!prepared.warning.empty()) Complain(console, prepared.warning);
  if (WriteText(console.out, PrepareOutput(prepared, arguments))) return ExitCode::Ok;
  Complain(console, "Cannot write to standard output: " + SystemErrorText(GetLastError()) + ".");
  return ExitCode::Failure;
}

}  // namespace moorlak::client
