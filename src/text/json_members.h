// Looks up single members of the engine's configuration without parsing it. The language is JSON with the comments that
// the engine accepts: `//` and `#` to the end of the line, `/*` to `*/`. One pass over the text, no recursion. In a
// malformed text, scanning stops at the first error; results before it are kept.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace moorlak {

// How `/*` is closed. The engine's reader allows line ends between the star and the slash.
enum class BlockCommentEnd { AcrossLines, OnOneLine };

// Whether a comment begins at the position.
bool BeginsComment(std::string_view text, size_t position);

// The first position at or after the given one that is neither a blank nor inside a comment.
size_t SkipBlanksAndComments(std::string_view text, size_t position,
                             BlockCommentEnd commentEnd = BlockCommentEnd::AcrossLines);

// The position after the closing quote of the text value that opens at the position; kNotFound if it is not closed.
size_t SkipJsonText(std::string_view text, size_t position);

// Which brackets and braces a walk counts: all alike, or only the kind of the first one. In a well-formed text both
// find the same.
enum class Brackets { AllKinds, FirstKind };
enum class Comments { Skipped, None };

// The position after the bracket or brace that closes the one at the position. Brackets inside text values do not
// count, nor, if comments are skipped, those inside comments. kNotFound if a text value or the first bracket is not
// closed.
size_t FindContainerEnd(std::string_view text, size_t position, Brackets brackets, Comments comments);

// Position of the `{` that begins the text, after blanks and comments; kNotFound for any other text.
size_t FindRootObject(std::string_view text);

// The value of a member of the object that opens at the given position, as written (a text value with its quotes, an
// object with its braces). Like the engine, it reads escapes in names, ignores the case of ASCII letters in them and
// takes the last of several members. nullopt if there is none.
std::optional<std::string_view> FindJsonMember(std::string_view text, size_t object, std::string_view name);

// The meaning of a text value: without its quotes, escapes read. nullopt if the value is not a text. Escapes of
// non-ASCII characters are left as written.
std::optional<std::string> ReadJsonText(std::string_view value);

// The same for the content between the quotes.
std::string UnescapeJson(std::string_view inner);

// Whether the text begins like a JSON document: with "{" or "[", after JSON white space (RFC 8259).
bool BeginsLikeJson(std::string_view text);

}  // namespace moorlak
