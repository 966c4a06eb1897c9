// The adapters' DNS backup on disk. It exists exactly while physical adapters may be changed.
#pragma once

#include <vector>

#include "net/dns/dns_backup.h"

namespace moorlak {

// True if the file exists, is trusted (base/durable_file.h) and has a known version. Replaces the list.
bool LoadDnsBackup(std::vector<AdapterDnsBackup>& records) noexcept;

// Writes the whole file, or deletes it if the list is empty. False if the file does not match the list now; a failed
// write is logged.
bool PersistDnsBackup(const std::vector<AdapterDnsBackup>& records) noexcept;

// True if the file does not exist afterwards.
bool DeleteDnsBackup() noexcept;

}  // namespace moorlak
