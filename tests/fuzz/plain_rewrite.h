// The edits of a VPN start one after the other on the whole text, with no thought of speed.
#pragma once

#include <string>
#include <string_view>

#include "config/vpn_config.h"

namespace moorlak::plain {

// Every `"listen": "[::1]"` made one of 127.0.0.1.
std::string ReplaceListens(std::string_view text);

// What PrepareVpnXrayConfig makes of the text. The rules, the tunnel inbound and what is read come from the product.
std::string Prepare(std::string text, const ConfigMeta& meta, const ListExecutables& listExecutables);

// What StripAllowInsecure of the product makes of the text.
std::string StripAllowInsecure(std::string text);

}  // namespace moorlak::plain
