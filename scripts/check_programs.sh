#!/usr/bin/env bash
# check_programs.sh BINARIES: the shipped programs need nothing beside Windows and carry its protections.
source "$(dirname "$0")/common.sh"
# Libraries of Windows itself.
WINDOWS='advapi32|fwpuclnt|iphlpapi|kernel32|msvcrt|ntdll|ole32|oleaut32|setupapi|shell32|user32|version|winhttp|wininet|ws2_32|api-ms-win-.*'
status=0
for program in "$1/src/moorlak_service.exe" "$1/client/moorlakctl.exe"; do
    dump=$(x86_64-w64-mingw32-objdump -p "$program")
    # ASLR, DEP and high-entropy addresses (Microsoft Learn, "PE Format", DLL characteristics).
    for flag in DYNAMIC_BASE NX_COMPAT HIGH_ENTROPY_VA; do
        grep -q "$flag" <<<"$dump" || { say "${program##*/}: no $flag"; status=1; }
    done
    # Windows 10 or later, in which the system also keeps older ways of its own from a program ("PE Format").
    version=$(awk '/^M(aj|in)orSubsystemVersion/ {print $2}' <<<"$dump" | paste -sd.)
    [ "$version" = 10.0 ] || { say "${program##*/}: subsystem version $version"; status=1; }
    foreign=$(sed -n 's/.*DLL Name: //p' <<<"$dump" | tr '[:upper:]' '[:lower:]' |
        grep -vxE "($WINDOWS)\.dll" || true)
    [ -z "$foreign" ] || { say "${program##*/} needs $foreign"; status=1; }
    grep -q '^\.reloc' <<<"$(x86_64-w64-mingw32-objdump -h "$program" | awk '{print $2}')" ||
        { say "${program##*/}: no relocations, so its address is not random"; status=1; }
    # Resources' names are UTF-16.
    grep -q VS_VERSION_INFO <<<"$(strings -el "$program")" || { say "${program##*/}: no version resource"; status=1; }
    grep -q 'requestedExecutionLevel level="asInvoker"' <<<"$(strings "$program")" ||
        { say "${program##*/}: no manifest"; status=1; }
    say "${program##*/}: $(stat -c %s "$program") bytes"
done
exit "$status"
