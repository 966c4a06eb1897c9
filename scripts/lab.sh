# Sourced after common.sh: installs the simulated machine into a prefix.
# shellcheck shell=bash

# The network list manager's COM class, see "CLSID_NetworkListManager" on Microsoft Learn.
LAB_NETLIST_CLSID='{DCB00C01-570F-4A9B-8D69-199FDBA5723B}'

# The build targets that lab_install needs.
LAB_TARGETS="lab_cmd lab_dnsapi lab_fwpuclnt lab_iphlpapi lab_ipconfig lab_machine_link lab_netlist lab_netsh lab_route
    lab_setupapi lab_tun2socks lab_winhttp lab_wintun"

# lab_copy FILE FOLDER: removes the old file first, because in a clone it may be a hard link into the template.
lab_copy() {
    mkdir -p "$2"
    rm -f "$2/${1##*/}"
    cp "$1" "$2/"
}

# lab_overrides KEY NAME...: prints lines of a registry file that prefer a program's own file to Wine's.
lab_overrides() {
    local key=$1 name
    shift
    printf '[%s]\r\n' "$key"
    for name in "$@"; do printf '"%s"="native,builtin"\r\n' "$name"; done
    printf '\r\n'
}

# lab_install PREFIX BINARIES [PROGRAM.exe...]: installs stand-in DLLs and labctl next to the product in "Program
# Files/Moorlak", stand-in programs in system32, and the registry values that make Wine use them. The named programs (by
# default moorlak_service.exe) load the DLLs from their own folder: copy the DLLs for a program elsewhere. All other
# programs use Wine's own; the programs in system32 are for all. Skips what is not built yet.
lab_install() {
    local prefix=$1 binaries=$2 folder="$1/drive_c/Program Files/Moorlak" system="$1/drive_c/windows/system32"
    local programs=("${@:3}") file name dlls=() replaced=()
    [ ${#programs[@]} -gt 0 ] || programs=(moorlak_service.exe)
    for file in "$binaries"/lab/stand_in/*.dll; do
        [ -e "$file" ] || continue
        lab_copy "$file" "$folder"
        name=$(basename "$file" .dll)
        # Copies of Wine's own DLLs, the targets of forwarders, are found by name without an override.
        case $name in x_*) ;; *) dlls+=("$name") ;; esac
    done
    for file in "$binaries"/lab/programs/{cmd,ipconfig,netsh,route}.exe; do
        [ -e "$file" ] || continue
        lab_copy "$file" "$system"
        replaced+=("$(basename "$file")")
    done
    lab_copy "$binaries/lab/labctl.exe" "$folder"
    {
        printf 'REGEDIT4\r\n\r\n'
        for name in "${programs[@]}"; do
            lab_overrides "HKEY_CURRENT_USER\\Software\\Wine\\AppDefaults\\$name\\DllOverrides" "${dlls[@]}"
        done
        lab_overrides 'HKEY_CURRENT_USER\Software\Wine\DllOverrides' "${replaced[@]}"
        if [ -e "$folder/netlist.dll" ]; then
            printf '[HKEY_LOCAL_MACHINE\\Software\\Classes\\CLSID\\%s\\InprocServer32]\r\n' "$LAB_NETLIST_CLSID"
            printf '@="C:\\\\Program Files\\\\Moorlak\\\\netlist.dll"\r\n"ThreadingModel"="Both"\r\n'
        fi
    } >"$prefix/drive_c/moorlak-lab.reg"
    WINEPREFIX=$prefix "$WINE" regedit /S 'C:\moorlak-lab.reg'
    rm -f "$prefix/drive_c/moorlak-lab.reg"
}

# lab_install_server PREFIX ENGINE: installs the engine at the other end, in a separate folder outside the product's,
# and what the product's engine needs to reach it.
lab_install_server() {
    local folder="$1/drive_c/Program Files/Moorlak/xray" server="$1/drive_c/moorlak-server"
    # One list in each file, "private": 10.0.0.0/8 and the full name "localhost" (Protocol Buffers' encoding).
    printf '\x0a\x13\x0a\x07PRIVATE\x12\x08\x0a\x04\x0a\x00\x00\x00\x10\x08' >"$folder/geoip.dat"
    printf '\x0a\x18\x0a\x07PRIVATE\x12\x0d\x08\x03\x12\x09localhost' >"$folder/geosite.dat"
    # The server's address is on the loopback interface, but the engine does not treat it as loopback.
    printf '{"leaveLoopback": true}\n' >"$folder/engine_faults.json"
    mkdir -p "$server"
    rm -f "$server/server.exe"
    cp "$2/xray.exe" "$server/server.exe"
}

# lab_install_session PREFIX BINARIES ENGINE: installs everything that a session of the shipped service needs. Requires
# common.sh's install_product.
lab_install_session() {
    local prefix=$1 binaries=$2 engine=$3 folder="$1/drive_c/Program Files/Moorlak" file
    install_product "$prefix" "$binaries" "$engine"
    lab_install "$prefix" "$binaries" moorlak_service.exe moorlakctl.exe
    for file in "$binaries"/lab/programs/{tun2socks,machine_link}.exe "$binaries/lab/stand_in/wintun.dll"; do
        lab_copy "$file" "$folder/xray"
    done
    # The product looks in "xray" first; keeping only that copy avoids any doubt.
    rm -f "$folder/wintun.dll"
    lab_install_server "$prefix" "$engine"
}

# labctl PREFIX WORDS...: runs labctl on the prefix's machine.
labctl() {
    local prefix=$1
    shift
    WINEPREFIX=$prefix "$WINE" 'C:\Program Files\Moorlak\labctl.exe' "$@"
}
