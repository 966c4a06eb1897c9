// The running service with the lab's meter: every call that its threads make.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/handle.h"
#include "meter/meter_record.h"

namespace moorlak::session {

struct Span {
  uint32_t thread = 0;
  // Microseconds since the meter's first span.
  double begin = 0;
  double end = 0;
  std::string name;
  std::string text;
};

// Loads the meter, which is in this program's folder, into the service. It stays there until the service ends.
class MeteredService {
 public:
  MeteredService();
  ~MeteredService();
  MeteredService(const MeteredService&) = delete;
  MeteredService& operator=(const MeteredService&) = delete;

  // Discards all records. No session may be running.
  void Clear();
  // All calls that have ended, ordered by begin.
  std::vector<Span> Spans() const;

 private:
  KernelHandle mapping;
  lab::MeterRecord* record = nullptr;
};

}  // namespace moorlak::session
