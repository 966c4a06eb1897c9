// The product loads dnsapi.dll only from the system folder, where Wine's is. But a module that is already loaded is
// found by its name, so this loads the stand-in next to the program first.
#include <windows.h>

namespace moorlak::lab {
namespace {

const HMODULE dnsapi = LoadLibraryW(L"dnsapi.dll");

}  // namespace
}  // namespace moorlak::lab
