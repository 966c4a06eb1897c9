#include "client/log_position.h"

namespace moorlak::client {
namespace {

bool IsLastRead(const LogPosition& position, const LogFileState& file) {
  return position.started && file.exists && file.identity == position.identity;
}

void PlanFile(std::vector<LogRead>& reads, LogPosition& position, const LogFileState& file, LogGeneration generation) {
  const bool continues = IsLastRead(position, file) && file.size >= position.offset;
  const uint64_t from = continues ? position.offset : 0;
  position = {true, file.identity, file.size};
  if (continues && file.size == from) return;
  reads.push_back({generation, from, file.size, !continues});
}

}  // namespace

bool NeedsRotatedLog(const LogPosition& position, const LogFileState& current) {
  return position.started && !IsLastRead(position, current);
}

std::vector<LogRead> PlanLogReads(LogPosition& position, const LogFileState& current, const LogFileState& rotated) {
  std::vector<LogRead> reads;
  if (NeedsRotatedLog(position, current) && IsLastRead(position, rotated)) {
    PlanFile(reads, position, rotated, LogGeneration::Rotated);
  }
  if (current.exists) PlanFile(reads, position, current, LogGeneration::Current);
  return reads;
}

}  // namespace moorlak::client
