#pragma once
// Small wrong changes to a source file: what a slip of the programmer might have written.

#include <string>
#include <string_view>
#include <vector>

namespace moorlak {

struct Mutation {
  // The bytes to replace: the first, and the one after the last.
  size_t begin;
  size_t end;
  std::string replacement;
};

// Every mutation of the file, in its order. Some do not compile. None changes how much memory is reserved: no result
// depends on that.
std::vector<Mutation> MutationsOf(std::string_view source);

// The lines that the mutation changes, as one line: without indentation, joined by blanks. The second has the mutation.
std::string LinesBefore(std::string_view source, const Mutation& mutation);
std::string LinesAfter(std::string_view source, const Mutation& mutation);

}  // namespace moorlak
