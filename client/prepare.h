// A dry run of what a VPN start does to the engine's configuration. It changes nothing on the machine. Apart from the
// text it reads only the folders of applications that bypass the tunnel.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/arguments.h"
#include "config/bypass_executables.h"

namespace moorlak::client {

struct PreparedConfig {
  // What the engine would get.
  std::string text;
  // The metadata found: a line "name: value" for each item, in the order of ConfigMeta and then of the text. The names
  // are ConfigMeta's. Values have gone through VisibleText.
  std::vector<std::string> metaLines;
  // The warning for the user; empty if there is none.
  std::string warning;
  // What the rewriting would log, without times, after VisibleText.
  std::vector<std::string> logLines;
};

// Takes the text that `start` would send. Treats every port as free.
PreparedConfig PrepareAsService(std::string_view configText, const ListExecutables& listExecutables);

// What `prepare` prints: without options exactly the text; with --meta or --log those lines, each with a line feed;
// with both the metadata, an empty line, then the log lines.
std::string PrepareOutput(const PreparedConfig& prepared, const Arguments& arguments);

}  // namespace moorlak::client
