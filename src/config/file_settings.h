// The settings by which a configuration names a file or a socket path that the engine would create or write: access and
// error log, key log, and inbounds on a path. The engine has rights that the user lacks, so a user's text must not
// point it at a place of the user's choice.
#pragma once

#include <string>
#include <string_view>

namespace moorlak {

// The first such setting of the text, by the name that the user knows: "log.access" and "log.error" with a text that is
// neither empty nor "none", "masterKeyLog" with any value, "listen" with a text that is not an address. Empty if there
// is none.
//
// Names and texts are read as the engine reads them: with escapes, comments, and names in any letter case (Go's
// encoding/json), which includes the long s and the Kelvin sign. In three cases it finds more than the engine would
// follow. Each of several equal members counts, because the engine merges objects of the same name, so the last one
// does not undo the first. A setting counts at any depth, whatever it belongs to. And in a malformed text the search
// continues past the place where the engine would give up, because the service edits texts before the engine reads
// them, and an edit can repair one. Looks at each byte once, without recursion.
std::string_view FindFileSetting(std::string_view text);

// The message to the user about such a setting, and whether a text is such a message.
std::string FileSettingText(std::string_view setting);
bool IsFileSettingText(std::string_view text);

// True if an inbound may listen on this without creating a file: a host or an IP address (also in brackets, also with a
// zone), with or without a port, ignoring blanks around it; also an empty text. Everything else may be a path:
// "/run/x", "@abstract", "./x", "C:\x", "\\.\pipe\x", and what the engine would read from its environment.
bool IsListenAddress(std::string_view text);

}  // namespace moorlak
