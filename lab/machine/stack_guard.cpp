// What code with stack protection refers to. The compiler's own version chooses the value at the start of each program
// with the system's cryptography, which under Wine takes longer than the rest of a small program. A constant finds
// overruns just as well.
#include <cstdint>
#include <cstdlib>

extern "C" {

uintptr_t __stack_chk_guard = 0x9e3779b97f4a7c00;

[[noreturn]] void __stack_chk_fail() {
  std::abort();
}

}  // extern "C"
