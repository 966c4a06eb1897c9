// File behaviour that Windows has and Wine lacks, added to the calls with which this program's code opens and queries
// files.
#pragma once

namespace moorlak::adversary {

// For the rest of this process: a file marked as read-only cannot be opened for writing, and its handle reports the
// attribute; a file marked as a link is reported as one by its handle.
void BeStrictAboutFiles();

// Under Wine this attribute depends on the file's rights and is lost when they are set.
bool MarkAsReadOnly(const wchar_t* path);
bool IsMarkedAsReadOnly(const wchar_t* path);

// Wine recognises links by name at best, and renames their target; an ordinary file plays the link.
bool MarkAsLink(const wchar_t* path);

}  // namespace moorlak::adversary
