// moorlak-prepare: `moorlakctl prepare` as a program for Linux.
#include <cerrno>
#include <csignal>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "client/arguments.h"
#include "client/config_file.h"
#include "client/config_text.h"
#include "client/exit_code.h"
#include "client/folder_executables.h"
#include "client/help_text.h"
#include "client/prepare.h"
#include "client/visible_text.h"

namespace moorlak::client {
namespace {

void Complain(std::string_view text) {
  std::cerr << "moorlak-prepare: " << text << '\n';
}

std::string ErrorText(int error) {
  return std::generic_category().message(error);
}

ConfigFile ReadStream(std::istream& stream, const std::string& name) {
  ConfigFile file;
  file.bytes.resize(kConfigReadLimit);
  errno = 0;
  stream.read(file.bytes.data(), static_cast<std::streamsize>(file.bytes.size()));
  // End of file sets only the fail bit.
  if (stream.bad()) return {{}, "Cannot read " + VisibleText(name) + ": " + ErrorText(errno) + "."};
  file.bytes.resize(static_cast<size_t>(stream.gcount()));
  return file;
}

ExitCode Print(std::string_view text) {
  errno = 0;
  std::cout.write(text.data(), static_cast<std::streamsize>(text.size())).flush();
  if (std::cout) return ExitCode::Ok;
  Complain("Cannot write to standard output: " + ErrorText(errno) + ".");
  return ExitCode::Failure;
}

ExitCode RunPrepare(const Arguments& arguments) {
  const ConfigFile file = ReadConfigFile(arguments.file);
  const ConfigText config = file.error.empty() ? PrepareConfigText(file.bytes) : ConfigText{{}, file.error};
  if (!config.error.empty()) {
    Complain(config.error);
    return ExitCode::Usage;
  }
  // There are no Windows drives to query here.
  const ListExecutables list = PortableListing([](const std::string&) { return true; });
  const PreparedConfig prepared = PrepareAsService(config.text, list);
  if (!prepared.warning.empty()) Complain(prepared.warning);
  return Print(PrepareOutput(prepared, arguments));
}

ExitCode Run(const std::vector<std::string>& words) {
  const ParsedArguments parsed = ParseArguments(words);
  if (parsed.error.empty()) {
    return parsed.arguments.help ? Print(PrepareProgramHelp()) : RunPrepare(parsed.arguments);
  }
  Complain(VisibleText(parsed.error) + "\nFor help: moorlak-prepare --help");
  return ExitCode::Usage;
}

}  // namespace

ConfigFile ReadConfigFile(const std::string& path) {
  if (path == "-") {
    if (isatty(STDIN_FILENO) != 0) return {{}, "Standard input is a terminal; redirect the configuration into it."};
    return ReadStream(std::cin, "standard input");
  }
  errno = 0;
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return {{}, "Cannot read " + VisibleText(path) + ": " + ErrorText(errno) + "."};
  return ReadStream(stream, path);
}

}  // namespace moorlak::client

int main(int count, char** words) {
  try {
    // If the reader goes away, report an error instead of dying from the signal.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    std::ios::sync_with_stdio(false);
    std::vector<std::string> arguments{"prepare"};
    for (int index = 1; index < count; ++index) arguments.emplace_back(words[index]);
    return static_cast<int>(moorlak::client::Run(arguments));
  } catch (const std::exception& failure) {
    moorlak::client::Complain(failure.what());
  }
  return static_cast<int>(moorlak::client::ExitCode::Failure);
}
