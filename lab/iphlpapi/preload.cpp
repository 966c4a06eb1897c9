// The product takes dnsapi.dll from the system folder alone, where Wine's own lies. A module that is loaded already is
// found by its name, so the stand-in beside the program is loaded before anybody asks.
#include <windows.h>

namespace moorlak::lab {
namespace {

const HMODULE dnsapi = LoadLibraryW(L"dnsapi.dll");

}  // namespace
}  // namespace moorlak::lab
