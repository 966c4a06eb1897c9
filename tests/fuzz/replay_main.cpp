// A fuzz target without the fuzzer: runs every file of the folders once. A violated property ends the program. Also
// fails if there is no file, because a wrong folder would show nothing.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

void Replay(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string input((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argumentCount, char** arguments) {
  size_t files = 0;
  for (int i = 1; i < argumentCount; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(arguments[i])) {
      // Printed before the run, so that the last line names the input that violated a property.
      std::printf("%s\n", entry.path().filename().string().c_str());
      std::fflush(stdout);
      Replay(entry.path());
      ++files;
    }
  }
  std::printf("%zu inputs replayed\n", files);
  return files > 0 ? 0 : 1;
}
