#include <filesystem>
#include <set>
#include <string>

#include "base/file_place.h"
#include "base/guarded.h"
#include "base/log.h"
#include "base/mutex.h"
#include "base/paths.h"
#include "base/trust.h"
#include "base/utf.h"
#include "process/engine_files.h"
#include "process/install_look.h"

namespace moorlak {
namespace {

struct LoggedItems {
  Mutex lock;
  std::set<std::wstring> paths GUARDED_BY(lock);
};

// Never destroyed: engines may be launched until the process ends.
LoggedItems& Logged() {
  static LoggedItems& logged = *new LoggedItems;
  return logged;
}

bool IsFirstTime(const std::wstring& path) {
  LoggedItems& logged = Logged();
  const MutexGuard guard(logged.lock);
  return logged.paths.insert(path).second;
}

ObjectFacts FactsOf(const std::wstring& path, bool throughLinks) {
  const KernelHandle object =
      OpenPlace(path, {.access = FILE_READ_ATTRIBUTES | READ_CONTROL, .throughLinks = throughLinks});
  return object ? ReadFacts(object.Get()) : ObjectFacts{};
}

void LookAtItems() {
  const auto exists = [](const std::filesystem::path& path) { return std::filesystem::exists(path); };
  for (const std::filesystem::path& item : InstallItems(BasesOfThisProcess(), ExecutablePath(), exists)) {
    const std::wstring path = item.wstring();
    if (IsOpenToOthers(path) && IsFirstTime(path)) WriteLogLine(ChangeableLine(NarrowUtf16(path)));
  }
}

}  // namespace

bool IsOpenToOthers(const std::wstring& path) {
  const ObjectFacts facts = FactsOf(path, false);
  return CanOthersChange(facts, OwnUserSid()) ||
         (facts.isReparsePoint && CanOthersChange(FactsOf(path, true), OwnUserSid()));
}

void LogWhatOthersCanChange() noexcept {
  Guarded(LookAtItems);
}

}  // namespace moorlak
