#include "config/local_folder.h"

#include "text/letter_case.h"

namespace moorlak {
namespace {

bool IsSeparator(char byte) {
  return byte == '\\' || byte == '/';
}

bool IsDriveLetter(char byte) {
  const char letter = FoldLetter(byte);
  return letter >= 'a' && letter <= 'z';
}

}  // namespace

bool IsLocalFolder(std::string_view folder, const IsOwnDrive& isOwnDrive) {
  // The path that will be listed: the folder "\" followed by a name would be another machine's.
  const std::string path = std::string(folder) + "\\*";
  if (IsSeparator(path[0]) && (IsSeparator(path[1]) || path.substr(1, 2) == "??")) return false;
  if (path[1] != ':') return isOwnDrive({});
  return IsDriveLetter(path[0]) && isOwnDrive(path.substr(0, 2) + "\\");
}

}  // namespace moorlak
