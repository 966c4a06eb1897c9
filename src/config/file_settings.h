// The settings by which a configuration names a file or a socket path that the engine would create or write: access
// and error log, key log, and inbounds on a path. A user's text must not point the engine, which has rights that its
// user has not, at a place of his choice.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// The first such setting of the text, by the name under which the user knows it: "log.access" and "log.error" with a
// text that is neither empty nor "none", "masterKeyLog" with any value, "listen" with a text that is no address. Empty
// when there is none.
//
// Names and texts are read as the engine reads them: escapes, comments, and names without regard to letter case (Go's
// encoding/json), which takes in the long s and the Kelvin sign. On three points more is found than the engine would
// follow. Each of several equal members counts, because the engine merges objects of the same name, so that the last
// one does not undo the first. A setting counts at any depth, whatever it belongs to. And where a text is malformed,
// the search goes on behind the place at which the engine would give up: the service edits texts before the engine
// reads them, which mends some. One look at each byte, no recursion.
std::string_view FindFileSetting(std::string_view text);

// What the user is told of such a setting, and whether a text is one of these.
std::string FileSettingText(std::string_view setting);
bool IsFileSettingText(std::string_view text);

// True for what an inbound may listen on without making a file: a host or an IP address (also in brackets, also with a
// zone), with a port or without, blanks around it left aside. An empty text is true as well. Everything else may be a
// path: "/run/x", "@abstract", "./x", "C:\x", "\\.\pipe\x", and what the engine would read from its environment.
bool IsListenAddress(std::string_view text);

}  // namespace moorlak
