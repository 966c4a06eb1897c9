#include "client/config_text.h"

#include "config/file_settings.h"
#include "text/json_members.h"

namespace moorlak::client {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LittleMark = "\xFF\xFE";
constexpr std::string_view kUtf16BigMark = "\xFE\xFF";

}  // namespace

ConfigText PrepareConfigText(std::string_view fileBytes) {
  if (fileBytes.starts_with(kUtf16LittleMark) || fileBytes.starts_with(kUtf16BigMark)) {
    return {{}, "The configuration is UTF-16 text; save it as UTF-8."};
  }
  if (fileBytes.starts_with(kUtf8Mark)) fileBytes.remove_prefix(kUtf8Mark.size());
  if (fileBytes.size() > kMaxConfigBytes) {
    return {{},
            "The configuration is too large: the service takes at most " + std::to_string(kMaxConfigBytes) + " bytes."};
  }
  return {fileBytes, {}};
}

ConfigText CheckForStart(ConfigText config) {
  if (!config.error.empty()) return config;
  if (!BeginsLikeJson(config.text)) return {{}, "The configuration is not JSON: it does not begin with { or [."};
  const std::string_view setting = FindFileSetting(config.text);
  return setting.empty() ? config : ConfigText{{}, FileSettingText(setting)};
}

}  // namespace moorlak::client
