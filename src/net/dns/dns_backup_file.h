// The adapters' DNS backup on disk. It exists exactly while physical adapters may be changed.
#pragma once

#include <vector>

#include "net/dns/dns_backup.h"

namespace moorlak {

// True when the file is there, is believed (base/durable_file.h) and of a known version. The list is replaced.
bool LoadDnsBackup(std::vector<AdapterDnsBackup>& records) noexcept;

// Writes the file whole, or deletes it when the list is empty. False when the file does not tell the list now; a write
// that failed is logged.
bool PersistDnsBackup(const std::vector<AdapterDnsBackup>& records) noexcept;

// True when it is not there afterwards.
bool DeleteDnsBackup() noexcept;

}  // namespace moorlak
