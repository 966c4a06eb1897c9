#!/usr/bin/env bash
# Builds and runs every test and check. The last line is "N passed, M failed"; the exit code says the same. A suite that
# has passed in this build folder is counted without being run again, as long as the programs, scripts and files that it
# uses have not changed.
#   test.sh --quick   only what answers soonest: format, core and client natively
#   test.sh --again   runs also what has not changed
source "$(dirname "$0")/common.sh"
source "$ROOT/scripts/test_lanes.sh"
source "$ROOT/scripts/test_steps.sh"

mkdir -p "$BUILD"
if [ "${1:-}" = --quick ]; then
    LAST_RUN=$BUILD/last_run_quick
    show_time
    step "building the native tests" build_preset native-asan moorlak_core_tests moorlak_client_tests moorlak_inspect_tests
    native_suite "core, natively under ASan and UBSan" native-asan/tests/moorlak_core_tests 2
    later busy check "format" "$ROOT/scripts/check_format.sh"
    native_suite "client, natively under ASan and UBSan" native-asan/tests/moorlak_client_tests
    native_suite "the reader's findings, natively under ASan and UBSan" native-asan/tests/moorlak_inspect_tests
    run_steps
    finish
    exit
elif [ "${1:-}" = --again ]; then
    again=1
elif [ $# -gt 0 ]; then
    sed -n '2,/^source/{/^#/s/^# \{0,1\}//p}' "$0"
    exit 2
fi

show_time
step "installing packages" install_packages
step "building the native tests" build_preset native-asan \
    moorlak_core_tests moorlak_scanner_tests moorlak_client_tests moorlak_inspect_tests moorlak_prepare moorlak_prepare_tests moorlak_lab_tests \
    moorlak_lab_program_tests config_meta_fuzzer vpn_config_fuzzer engine_counters_fuzzer dns_restore_fuzzer \
    smhnr_restore_fuzzer ipconfig_fuzzer file_settings_fuzzer object_trust_fuzzer
step "building the Windows tests" build_preset windows-debug \
    moorlak_core_tests moorlak_client_tests moorlak_inspect_tests moorlak_shell_tests test_child moorlak_lab_tests \
    moorlak_lab_program_tests moorlak_network_tests moorlak_service moorlakctl
# The demonstration's targets with them, so that it has nothing to build while tests run.
step "building the programs as shipped" build_preset windows-release \
    moorlak_service moorlakctl moorlak_machine_tests moorlak_adversary_tests moorlak_session_tests labctl
step "building the engine for tests" "$ROOT/scripts/build_engine.sh" "$BUILD/engine"
step "building the fuzz targets" build_preset fuzz \
    wire_format_fuzzer proxy_text_fuzzer config_meta_fuzzer vpn_config_fuzzer engine_counters_fuzzer \
    dns_restore_fuzzer smhnr_restore_fuzzer ipconfig_fuzzer file_settings_fuzzer object_trust_fuzzer
step "building the configuration benchmark" build_preset native-release moorlak_config_bench
step "making the Wine prefix" wine_template

# What mostly waits; see test_lanes.sh.
session_suite "whole sessions on the simulated machine" 12
network_suite "network parts on the simulated machine" 8
machine_suite "the shipped service, under Wine's service control manager" 4
later waiting check "./run with the documented configurations" "$ROOT/scripts/check_demo.sh" --whole '^documented example'
adversary_suite "what a user of the machine may try" 1
wine_suite waiting "shell, under Wine" windows-debug/tests/moorlak_shell_tests.exe checked

# What works.
later busy check "format" "$ROOT/scripts/check_format.sh"
later busy check "threads" "$ROOT/scripts/check_threads.sh"
later busy check "documents" "$ROOT/scripts/check_docs.sh"
later busy check "configurations that ./run refuses" "$ROOT/scripts/check_demo.sh"
later busy check "program headers" "$ROOT/scripts/check_programs.sh" "$BUILD/windows-release"
later busy check "clang-tidy, core" env MOORLAK_TIDY_JOBS=1 "$ROOT/scripts/check_tidy.sh" core
later busy check "clang-tidy, shell" env MOORLAK_TIDY_JOBS=1 "$ROOT/scripts/check_tidy.sh" shell
native_suite "core, natively under ASan and UBSan" native-asan/tests/moorlak_core_tests
native_suite "scanners against std::regex, natively" native-asan/tests/moorlak_scanner_tests 2
native_suite "client, natively under ASan and UBSan" native-asan/tests/moorlak_client_tests
native_suite "the reader's findings, natively under ASan and UBSan" native-asan/tests/moorlak_inspect_tests
native_suite "moorlak-prepare, natively under ASan and UBSan" native-asan/tests/moorlak_prepare_tests
native_suite "simulated machine, natively under ASan and UBSan" native-asan/tests/unit/lab/moorlak_lab_tests
native_suite "its console programs, natively under ASan and UBSan" \
    native-asan/tests/unit/lab/programs/moorlak_lab_program_tests
fuzz_smoke wire_format_fuzzer
fuzz_smoke proxy_text_fuzzer
fuzz_smoke config_meta_fuzzer
fuzz_smoke vpn_config_fuzzer 10000
fuzz_smoke engine_counters_fuzzer
fuzz_smoke dns_restore_fuzzer
fuzz_smoke smhnr_restore_fuzzer
fuzz_smoke ipconfig_fuzzer
fuzz_smoke file_settings_fuzzer
fuzz_smoke object_trust_fuzzer
later busy check "replay of the fuzzers' inputs" replay_corpora native-asan
later busy check "the configuration benchmark runs" "$ROOT/scripts/bench_config.sh" --smoke
wine_suite busy "core, as a Windows program" windows-debug/tests/moorlak_core_tests.exe
wine_suite busy "client, as a Windows program" windows-debug/tests/moorlak_client_tests.exe
wine_suite busy "the reader's findings, as a Windows program" windows-debug/tests/moorlak_inspect_tests.exe
wine_suite busy "simulated machine, under Wine" windows-debug/tests/unit/lab/moorlak_lab_tests.exe
wine_suite busy "its console programs, under Wine" windows-debug/tests/unit/lab/programs/moorlak_lab_program_tests.exe
run_steps

finish
