#!/usr/bin/env bash
# Builds and runs every test and check. The last line is "N passed, M failed"; the exit code says the same.
source "$(dirname "$0")/common.sh"
source "$ROOT/scripts/test_steps.sh"

mkdir -p "$BUILD"
step "installing packages" install_packages
step "building the native tests" build_preset native-asan moorlak_core_tests moorlak_client_tests
step "building the Windows tests" build_preset windows-debug \
    moorlak_core_tests moorlak_client_tests moorlak_shell_tests test_child
step "building the programs as shipped" build_preset windows-release \
    moorlak_service moorlakctl moorlak_machine_tests
step "building the engine for tests" "$ROOT/scripts/build_engine.sh" "$BUILD/engine"
step "building the fuzz targets" build_preset fuzz wire_format_fuzzer proxy_text_fuzzer
step "making the Wine prefix" wine_template

check "format" "$ROOT/scripts/check_format.sh"
check "clang-tidy" "$ROOT/scripts/check_tidy.sh"
check "program headers" "$ROOT/scripts/check_programs.sh" "$BUILD/windows-release"

native_suite "core, natively under ASan and UBSan" native-asan/tests/moorlak_core_tests
native_suite "client, natively under ASan and UBSan" native-asan/tests/moorlak_client_tests
fuzz_smoke wire_format_fuzzer
fuzz_smoke proxy_text_fuzzer
wine_suite "core, as a Windows program" windows-debug/tests/moorlak_core_tests.exe
wine_suite "client, as a Windows program" windows-debug/tests/moorlak_client_tests.exe
wine_suite "shell, under Wine" windows-debug/tests/moorlak_shell_tests.exe
machine_suite "the shipped service, under Wine's service control manager" 2

finish
