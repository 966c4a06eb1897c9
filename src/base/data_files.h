// The product's data folder, in which recovery files and the log's folder lie, and which every user could make first.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "base/durable_file.h"
#include "base/file_place.h"

namespace moorlak {

// The data folder and the log folder, held from the first call that gets them to the end of the process. Null where
// they cannot be had: nothing is then written or believed there, which is told once on standard error, and the next
// call tries again. Any thread may call them.
HANDLE DataFolder() noexcept;
HANDLE LogFolder() noexcept;

// The place of a recovery file in the folder for the data of all users, which is the data folder wherever the system
// has not been told otherwise; nowhere when the folder cannot be had.
FilePlace RecoveryFile(const wchar_t* name);

// A recovery file's operations (base/durable_file.h). What is written can be read and changed by LocalSystem and the
// administrators alone; what others may change is not believed.
FileRead ReadRecoveryFile(const wchar_t* name, size_t maxBytes, std::string& content);
bool WriteRecoveryFile(const wchar_t* name, std::string_view content);
// False when the file is still there, or never was; GetLastError tells which.
bool DeleteRecoveryFile(const wchar_t* name);

}  // namespace moorlak
