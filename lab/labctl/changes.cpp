#include "labctl/changes.h"

#include <nlohmann/json.hpp>
#include <stdexcept>

#include "machine/machine.h"

namespace moorlak::lab {

MachineState Patched(const MachineState& state, const std::string& patch) {
  using Json = nlohmann::json;
  const Json change = Json::parse(patch);
  Json machine = Json::parse(ToJson(state));
  if (change.is_array()) {
    machine = machine.patch(change);
  } else if (change.is_object()) {
    machine.merge_patch(change);
  } else {
    throw std::invalid_argument("a patch is a JSON object or array");
  }
  return CheckedFromJson(machine.dump());
}

}  // namespace moorlak::lab
