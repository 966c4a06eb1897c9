// What Windows says of files and Wine does not, at the calls by which this program's code opens and asks them.
#pragma once

namespace moorlak::adversary {

// For the rest of this process: a file that is marked as read-only cannot be opened for writing, and tells so by its
// handle; one that is marked as a link tells that by its handle.
void BeStrictAboutFiles();

// To Wine the attribute is a question of the file's rights, and goes when they are set.
bool MarkAsReadOnly(const wchar_t* path);
bool IsMarkedAsReadOnly(const wchar_t* path);

// Wine tells links by their name at best, and renames what they lead to; an ordinary file stands for one.
bool MarkAsLink(const wchar_t* path);

}  // namespace moorlak::adversary
