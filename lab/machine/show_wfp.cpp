#include "machine/show_wfp.h"

#include <algorithm>

namespace moorlak::lab {
namespace {

// Shows an adapter by name: LUIDs differ from machine to machine.
std::string ShowValue(const MachineState& state, const WfpCondition& condition) {
  if (condition.field != "IP_LOCAL_INTERFACE") return condition.value;
  for (const Adapter& adapter : state.adapters) {
    if (std::to_string(adapter.luid) == condition.value) return Quoted(adapter.name);
  }
  return "(no adapter)";
}

std::string ShowConditions(const MachineState& state, const WfpFilter& filter) {
  std::vector<std::string> lines;
  for (const WfpCondition& condition : filter.conditions)
    lines.push_back("    " + condition.field + " " + condition.match + " " + condition.type + " " +
                    ShowValue(state, condition) + "\n");
  // Sorted, because the order of conditions means nothing to the engine.
  return Sorted(std::move(lines));
}

// Shows the key, too: the program chooses it, and it identifies an object even after it is gone.
std::string NamedKey(const std::string& name, const std::string& key) {
  return Quoted(name) + " " + key;
}

std::string ShowSublayerOf(const MachineState& state, const WfpFilter& filter) {
  for (const WfpSublayer& sublayer : state.wfp.sublayers) {
    if (sublayer.key == filter.sublayer) return NamedKey(sublayer.name, sublayer.key);
  }
  return filter.sublayer;
}

std::string Lifetime(uint64_t session) {
  return session != 0 ? ", dynamic" : "";
}

std::string ProviderText(const std::string& key) {
  return key.empty() ? "" : ", provider " + key;
}

std::string ShowFilter(const MachineState& state, const WfpFilter& filter) {
  return "  filter " + filter.layer + " " + filter.action + " weight " + filter.weightType + " " +
         std::to_string(filter.weight) + " " + Quoted(filter.name) + " in " + ShowSublayerOf(state, filter) +
         ProviderText(filter.provider) + Lifetime(filter.session) + "\n" + ShowConditions(state, filter);
}

}  // namespace

std::string ShowWfp(const MachineState& state) {
  std::vector<std::string> providers;
  for (const WfpProvider& provider : state.wfp.providers)
    providers.push_back("  provider " + NamedKey(provider.name, provider.key) + Lifetime(provider.session) + "\n");
  std::vector<std::string> sublayers;
  for (const WfpSublayer& sublayer : state.wfp.sublayers)
    sublayers.push_back("  sublayer " + NamedKey(sublayer.name, sublayer.key) + " weight " +
                        std::to_string(sublayer.weight) + ProviderText(sublayer.provider) + Lifetime(sublayer.session) +
                        "\n");
  std::vector<std::string> filters;
  for (const WfpFilter& filter : state.wfp.filters) filters.push_back(ShowFilter(state, filter));
  return "filtering platform\n" + Sorted(std::move(providers)) + Sorted(std::move(sublayers)) +
         Sorted(std::move(filters));
}

}  // namespace moorlak::lab
