// The edits of a VPN start, one after the other on the whole text, without regard to speed.
#pragma once

#include <string>
#include <string_view>

#include "config/vpn_config.h"

namespace moorlak::plain {

// Replaces every `"listen": "[::1]"` with 127.0.0.1.
std::string ReplaceListens(std::string_view text);

// The result of PrepareVpnXrayConfig. The rules, the tunnel inbound and all values read come from the product.
std::string Prepare(std::string text, const ConfigMeta& meta, const ListExecutables& listExecutables);

// The result of the product's StripAllowInsecure.
std::string StripAllowInsecure(std::string text);

}  // namespace moorlak::plain
