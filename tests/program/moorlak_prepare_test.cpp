// moorlak-prepare as a user runs it: the built program, started by a shell. The exit codes are documented in
// docs/moorlakctl.md.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "client/config_text.h"
#include "client/help_text.h"
#include "config/file_settings.h"
#include "unit/client/prepare_example.h"

namespace moorlak::client {
namespace {

namespace fs = std::filesystem;

constexpr int kOk = 0;
constexpr int kUsage = 2;
constexpr int kFailure = 7;

std::string ReadFile(const fs::path& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// Each test has its own folder, in which the command lines run.
struct MoorlakPrepare : testing::Test {
  MoorlakPrepare() {
    std::string pattern = (fs::temp_directory_path() / "moorlak-prepare-XXXXXX").string();
    folder = mkdtemp(pattern.data());
    WriteFile("config.json", kExampleConfig);
  }
  ~MoorlakPrepare() override {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) fs::remove(entry.path(), ignored);
    fs::remove(folder, ignored);
  }
  void WriteFile(const std::string& name, std::string_view text) const {
    std::ofstream(folder / name, std::ios::binary) << text;
  }
  // The shell interprets everything after the program's name: files, redirections, pipes. Streams that it does not
  // redirect are captured in files.
  int Run(const std::string& rest) {
    const std::string line = "cd '" + folder.string() + "' && { '" MOORLAK_PREPARE_PROGRAM "' " + rest +
                             "; } >out.captured 2>err.captured </dev/null";
    const int status = std::system(line.c_str());
    output = ReadFile(folder / "out.captured");
    errors = ReadFile(folder / "err.captured");
    fs::remove(folder / "out.captured");
    fs::remove(folder / "err.captured");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  fs::path folder;
  std::string output;
  std::string errors;
};

TEST_F(MoorlakPrepare, PrintsTheEnginesTextByteForByte) {
  EXPECT_EQ(Run("config.json"), kOk);
  EXPECT_EQ(output, kExampleText);
  EXPECT_EQ(errors, "");
}

TEST_F(MoorlakPrepare, WarnsOfAConfigurationThatTheServiceWouldRefuse) {
  WriteFile("named.json", R"({"log":{"error":"x"}})");
  EXPECT_EQ(Run("--meta named.json"), kOk);
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors, "moorlak-prepare: Warning: a start would be refused. " + FileSettingText("log.error") + "\n");
  // Removing the metadata uncovers this setting.
  WriteFile("named.json", R"({"moorlakMeta":{/*},"masterKeyLog":"x",/**/"log":{}})");
  EXPECT_EQ(Run("named.json"), kOk);
  EXPECT_NE(output, "");
  EXPECT_EQ(errors, "moorlak-prepare: Warning: a start would be refused. " + FileSettingText("masterKeyLog") + "\n");
}

TEST_F(MoorlakPrepare, TakesTheConfigurationFromStandardInput) {
  EXPECT_EQ(Run("- <config.json"), kOk);
  EXPECT_EQ(output, kExampleText);
}

TEST_F(MoorlakPrepare, PrintsTheMetadata) {
  EXPECT_EQ(Run("--meta config.json"), kOk);
  EXPECT_EQ(output, kExampleMeta);
}

TEST_F(MoorlakPrepare, PrintsTheLogLines) {
  EXPECT_EQ(Run("config.json --log"), kOk);
  EXPECT_EQ(output, kExampleLog);
  EXPECT_EQ(errors, "");
}

TEST_F(MoorlakPrepare, PrintsBothApartByAnEmptyLine) {
  EXPECT_EQ(Run("--log --meta config.json"), kOk);
  EXPECT_EQ(output, std::string(kExampleMeta) + "\n" + std::string(kExampleLog));
}

TEST_F(MoorlakPrepare, LeavesNothingBehindAndTheConfigurationAsItIs) {
  EXPECT_EQ(Run("config.json"), kOk);
  EXPECT_EQ(ReadFile(folder / "config.json"), kExampleConfig);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
}

TEST_F(MoorlakPrepare, AnEmptyFilePrintsNothing) {
  WriteFile("empty.json", "");
  EXPECT_EQ(Run("empty.json"), kOk);
  EXPECT_EQ(output, "");
}

TEST_F(MoorlakPrepare, LeavesOutAByteOrderMark) {
  WriteFile("marked.json", "\xEF\xBB\xBF" + std::string(kExampleConfig));
  EXPECT_EQ(Run("marked.json"), kOk);
  EXPECT_EQ(output, kExampleText);
}

TEST_F(MoorlakPrepare, RefusesUtf16) {
  WriteFile("wide.json", "\xFF\xFE{");
  EXPECT_EQ(Run("wide.json"), kUsage);
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors, "moorlak-prepare: The configuration is UTF-16 text; save it as UTF-8.\n");
}

TEST_F(MoorlakPrepare, TakesTheLongestConfigurationAndNotOneByteMore) {
  std::string text(kMaxConfigBytes, ' ');
  WriteFile("longest.json", text);
  EXPECT_EQ(Run("longest.json"), kOk);
  EXPECT_EQ(output.size(), kMaxConfigBytes);
  WriteFile("longest.json", text + ' ');
  EXPECT_EQ(Run("longest.json"), kUsage);
  EXPECT_EQ(errors, "moorlak-prepare: The configuration is too large: the service takes at most 16777214 bytes.\n");
}

TEST_F(MoorlakPrepare, AMissingFileIsAUsageError) {
  EXPECT_EQ(Run("missing.json"), kUsage);
  EXPECT_EQ(errors, "moorlak-prepare: Cannot read missing.json: No such file or directory.\n");
}

TEST_F(MoorlakPrepare, AFolderIsAUsageError) {
  EXPECT_EQ(Run("."), kUsage);
  EXPECT_EQ(output, "");
  EXPECT_EQ(errors, "moorlak-prepare: Cannot read .: Is a directory.\n");
}

TEST_F(MoorlakPrepare, AClosedStandardInputIsAUsageError) {
  EXPECT_EQ(Run("- <&-"), kUsage);
  EXPECT_EQ(errors, "moorlak-prepare: Cannot read standard input: Bad file descriptor.\n");
}

TEST_F(MoorlakPrepare, TheNameOfAFileCannotSteerTheTerminal) {
  EXPECT_EQ(Run("\"$(printf '\\033[2J')\""), kUsage);
  EXPECT_EQ(errors, "moorlak-prepare: Cannot read \\x1B[2J: No such file or directory.\n");
}

TEST_F(MoorlakPrepare, AWrongCommandLineIsAUsageError) {
  EXPECT_EQ(Run(""), kUsage);
  EXPECT_EQ(errors,
            "moorlak-prepare: \"prepare\" needs a configuration: FILE or -.\nFor help: moorlak-prepare --help\n");
  EXPECT_EQ(Run("--proxy config.json"), kUsage);
  EXPECT_EQ(Run("config.json config.json"), kUsage);
  EXPECT_EQ(output, "");
}

TEST_F(MoorlakPrepare, HelpsUnderItsOwnName) {
  EXPECT_EQ(Run("--help"), kOk);
  EXPECT_EQ(output, PrepareProgramHelp());
}

TEST_F(MoorlakPrepare, AFullDiskIsAnError) {
  EXPECT_EQ(Run("config.json >/dev/full"), kFailure);
  EXPECT_EQ(errors, "moorlak-prepare: Cannot write to standard output: No space left on device.\n");
}

TEST_F(MoorlakPrepare, AReaderThatWentAwayIsAnError) {
  // More than a pipe holds, so that the program certainly notices that the reader is gone.
  WriteFile("long.json", "{" + std::string(1'000'000, ' ') + "}");
  EXPECT_EQ(Run("long.json; echo $? >&2; } 2>piped.errors | { true"), kOk);
  EXPECT_EQ(ReadFile(folder / "piped.errors"), "moorlak-prepare: Cannot write to standard output: Broken pipe.\n7\n");
}

}  // namespace
}  // namespace moorlak::client
