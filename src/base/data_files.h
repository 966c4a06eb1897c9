// The product's data folder, which holds the recovery files and the log folder. Any user could have created it first.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "base/durable_file.h"
#include "base/file_place.h"

namespace moorlak {

// The data folder and the log folder, kept open from the first successful call to the end of the process. Null if the
// folder cannot be had: then nothing is written or trusted there, standard error says so once, and the next call tries
// again. Thread-safe.
HANDLE DataFolder() noexcept;
HANDLE LogFolder() noexcept;

// A recovery file's place in the common application data folder, which is the data folder unless the system is
// configured otherwise; an empty place if the folder cannot be had.
FilePlace RecoveryFile(const wchar_t* name);

// A recovery file's operations (base/durable_file.h). Only LocalSystem and the administrators can read and change what
// is written; a file that others may change is not trusted.
FileRead ReadRecoveryFile(const wchar_t* name, size_t maxBytes, std::string& content);
bool WriteRecoveryFile(const wchar_t* name, std::string_view content);
// False if the file is still there or never was; GetLastError says which.
bool DeleteRecoveryFile(const wchar_t* name);

}  // namespace moorlak
