#include <windows.h>

#include <exception>
#include <string>

#include "base/data_files.h"
#include "base/guarded.h"
#include "base/log.h"
#include "net/dns/dns_backup.h"

namespace moorlak {
namespace {

constexpr wchar_t kFileName[] = L"dns_restore.v1";
// Hundreds of adapters need far less.
constexpr size_t kMaxBytes = 1u << 20;

bool Load(std::vector<AdapterDnsBackup>& records) {
  records.clear();
  std::string text;
  if (ReadRecoveryFile(kFileName, kMaxBytes, text) != FileRead::Done) return false;
  DnsBackupText backup = ParseDnsBackup(text);
  if (backup.version == DnsBackupVersion::Unknown) {
    WriteLogLine("dns-leak: unknown DNS backup version");
    return false;
  }
  for (size_t i = 0; i < backup.unsafeNames; ++i) {
    WriteLogLine("dns-leak: rejected unsafe adapter name from DNS backup");
  }
  records = std::move(backup.records);
  return true;
}

bool Persist(const std::vector<AdapterDnsBackup>& records) {
  if (!WriteRecoveryFile(kFileName, FormatDnsBackup(records))) {
    WriteLogLine("dns-leak: failed to open DNS backup for write");
    return false;
  }
  WriteLogLine("dns-leak: persisted " + std::to_string(records.size()) + " adapter DNS backup(s) to disk");
  return true;
}

}  // namespace

bool LoadDnsBackup(std::vector<AdapterDnsBackup>& records) noexcept {
  return Guarded(false, [&] { return Load(records); });
}

bool PersistDnsBackup(const std::vector<AdapterDnsBackup>& records) noexcept {
  if (records.empty()) return DeleteDnsBackup();
  try {
    return Persist(records);
  } catch (const std::exception&) {
    WriteLogLine("dns-leak: exception persisting DNS backup");
    return false;
  }
}

bool DeleteDnsBackup() noexcept {
  return Guarded(false, [] {
    if (DeleteRecoveryFile(kFileName)) return true;
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  });
}

}  // namespace moorlak
