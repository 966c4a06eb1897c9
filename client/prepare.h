// A dry run of what a VPN start does to the engine's configuration. It changes nothing on the machine; the only thing
// it looks at beside the text are the folders of applications that are to bypass the tunnel.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/arguments.h"
#include "config/bypass_executables.h"

namespace moorlak {

struct PreparedConfig {
  // What the engine would be given.
  std::string text;
  // The metadata found: "name: value", a line for each item, in the order of ConfigMeta and then of the text. The names
  // are those of ConfigMeta. Values are made visible.
  std::vector<std::string> metaLines;
  // What the user is to be warned of; empty when there is nothing.
  std::string warning;
  // What the rewriting would write to the tunnel log, without times, made visible.
  std::vector<std::string> logLines;
};

// Takes the text that `start` would send. Every port counts as free.
PreparedConfig PrepareAsService(std::string_view configText, const ListExecutables& listExecutables);

// What `prepare` prints: without options the text and not a byte more; with --meta or --log the lines asked for, each
// with a line feed; with both the metadata, an empty line, the log lines.
std::string PrepareOutput(const PreparedConfig& prepared, const Arguments& arguments);

}  // namespace moorlak
