// Looking up single members of the engine's configuration without parsing it. The language is JSON with the comments
// that the engine accepts: `//` and `#` to the end of the line, `/*` to `*/`. One pass over the text, no recursion; on
// a malformed text the scan ends where it stops making sense, and what stood before it counts.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// How `/*` is closed. The engine's reader lets line ends stand between the star and the slash.
enum class BlockCommentEnd { AcrossLines, OnOneLine };

// A comment begins at the position.
bool BeginsComment(std::string_view text, size_t position);

// The first position at or behind the given one that is neither a blank nor inside a comment.
size_t SkipBlanksAndComments(std::string_view text, size_t position,
                             BlockCommentEnd commentEnd = BlockCommentEnd::AcrossLines);

// The position behind the closing quote of the text value that opens at the position, kNotFound when it has none.
size_t SkipJsonText(std::string_view text, size_t position);

// Position of the `{` that the text begins with, blanks and comments left aside; kNotFound for any other text.
size_t FindRootObject(std::string_view text);

// The value of a member of the object that opens at the given position, as it stands in the text (a text value with its
// quotes, an object with its braces). Like the engine it reads escapes in names, ignores the case of ASCII letters in
// them and lets the last of several members win. Nothing when there is none.
std::optional<std::string_view> FindJsonMember(std::string_view text, size_t object, std::string_view name);

// What a text value means: without its quotes, escapes read. Nothing when the value is not a text. Escapes of other
// characters than ASCII ones stay as they are written.
std::optional<std::string> ReadJsonText(std::string_view value);

// The same for what stands between the quotes.
std::string UnescapeJson(std::string_view inner);

}  // namespace moorlak
