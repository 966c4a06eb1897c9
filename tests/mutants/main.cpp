// moorlak_mutants list SEED FILE...: every mutation of the files, one a line, in an order that the seed decides: file,
// number, line, the lines before and after; tabs between them.
// moorlak_mutants write FILE NUMBER: the file with that mutation.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "mutants/mutations.h"

namespace moorlak {
namespace {

std::optional<std::string> ReadSource(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string source{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (stream && !source.empty()) return source;
  std::fprintf(stderr, "%s: cannot be read\n", file.c_str());
  return std::nullopt;
}

void AddMutants(std::vector<std::string>& mutants, const std::string& file, std::string_view source) {
  size_t number = 0;
  for (const Mutation& mutation : MutationsOf(source)) {
    const auto line =
        std::count(source.begin(), source.begin() + static_cast<std::ptrdiff_t>(mutation.begin), '\n') + 1;
    mutants.push_back(file + '\t' + std::to_string(number++) + '\t' + std::to_string(line) + '\t' +
                      LinesBefore(source, mutation) + '\t' + LinesAfter(source, mutation));
  }
}

// std::shuffle may differ from one library to the next.
void Shuffle(std::vector<std::string>& mutants, uint64_t seed) {
  std::mt19937_64 random(seed);
  for (size_t left = mutants.size(); left > 1; --left) std::swap(mutants[left - 1], mutants[random() % left]);
}

bool List(uint64_t seed, std::vector<std::string> files) {
  // The order depends on the seed only.
  std::sort(files.begin(), files.end());
  std::vector<std::string> mutants;
  for (const std::string& file : files) {
    const std::optional<std::string> source = ReadSource(file);
    if (!source) return false;
    AddMutants(mutants, file, *source);
  }
  Shuffle(mutants, seed);
  for (const std::string& mutant : mutants) std::puts(mutant.c_str());
  return true;
}

bool Write(const std::string& file, uint64_t number) {
  const std::optional<std::string> source = ReadSource(file);
  if (!source) return false;
  const std::vector<Mutation> mutations = MutationsOf(*source);
  if (number >= mutations.size()) return false;
  const Mutation& mutation = mutations[number];
  const std::string mutant = source->substr(0, mutation.begin) + mutation.replacement + source->substr(mutation.end);
  return std::fwrite(mutant.data(), 1, mutant.size(), stdout) == mutant.size();
}

std::optional<uint64_t> ReadNumber(std::string_view digits) {
  uint64_t number = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (read.ec != std::errc{} || read.ptr != digits.data() + digits.size()) return std::nullopt;
  return number;
}

int Run(const std::vector<std::string>& words) {
  if (words.size() >= 3 && words[0] == "list") {
    if (const auto seed = ReadNumber(words[1])) return List(*seed, {words.begin() + 2, words.end()}) ? 0 : 1;
  }
  if (words.size() == 3 && words[0] == "write") {
    if (const auto number = ReadNumber(words[2])) return Write(words[1], *number) ? 0 : 1;
  }
  std::fputs("moorlak_mutants list SEED FILE...\nmoorlak_mutants write FILE NUMBER\n", stderr);
  return 2;
}

}  // namespace
}  // namespace moorlak

int main(int argc, char** argv) {
  return moorlak::Run({argv + 1, argv + argc});
}
