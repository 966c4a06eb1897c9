#include <nlohmann/json.hpp>

#include "machine/json_fields.h"
#include "machine/machine.h"

namespace moorlak::lab {
namespace {

using Json = nlohmann::json;

std::string At(const std::string& path, const std::string& member) {
  return path.empty() ? member : path + "." + member;
}

// Missing members get defaults, so a misspelt one or a number that does not fit would be lost silently. So the parsed
// machine is converted back, and everything given must be in it unchanged. The recursion is no deeper than the
// machine's structs, because anything deeper differs.
void RequireKept(const Json& given, const Json& kept, const std::string& path) {
  if (given.type() != kept.type() && !(given.is_number_integer() && kept.is_number_integer()))
    throw std::invalid_argument(path + ": wrong type or not in range: " + given.dump());
  if (given.is_object()) {
    for (const auto& [name, value] : given.items()) {
      if (!kept.contains(name)) throw std::invalid_argument(At(path, name) + ": no such field");
      RequireKept(value, kept.at(name), At(path, name));
    }
  } else if (given.is_array()) {
    for (size_t i = 0; i < given.size(); ++i)
      RequireKept(given.at(i), kept.at(i), path + "[" + std::to_string(i) + "]");
  } else if (given != kept) {
    throw std::invalid_argument(path + ": out of range: " + given.dump());
  }
}

}  // namespace

std::string ToJson(const MachineState& state) {
  // A command line may contain bytes that are not UTF-8; they must not make the dump throw.
  return Json(state).dump(1, ' ', false, Json::error_handler_t::replace);
}

std::string MomentToJson(const Moment& moment) {
  const Json json = {{"cause", moment.cause}, {"machine", moment.machine}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Moment MomentFromJson(const std::string& line) {
  const Json json = Json::parse(line);
  return {json.at("cause").get<std::string>(), json.at("machine").get<MachineState>()};
}

MachineState FromJson(const std::string& text) {
  return Json::parse(text).get<MachineState>();
}

MachineState CheckedFromJson(const std::string& text) {
  const Json given = Json::parse(text);
  if (!given.is_object()) throw std::invalid_argument("a machine is a JSON object");
  MachineState state = given.get<MachineState>();
  RequireKept(given, Json(state), "");
  return state;
}

}  // namespace moorlak::lab
