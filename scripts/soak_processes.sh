#!/usr/bin/env bash
# soak_processes.sh PREFIX [COUNT]: creates COUNT (default 20,000) empty processes under Wine, one after the other, and
# counts the creations that fail, with their errors. Exits with 1 if any failed. This tests the test bench: a process
# that is lost like this loses a command of a session.
source "$(dirname "$0")/common.sh"

prefix=$(realpath -m "$1") count=${2:-20000}
clone_prefix "$prefix"
trap 'end_prefix "$prefix"; rm -rf "$prefix"' EXIT
folder=$prefix/drive_c/soak
mkdir -p "$folder"

cat >"$folder/empty.c" <<'SOURCE'
int main(void) { return 0; }
SOURCE
cat >"$folder/soak.c" <<'SOURCE'
#include <windows.h>
#include <stdio.h>
#include <stdlib.h>

/* Program, number of processes. */
int main(int count, char** arguments) {
  const int wanted = count > 2 ? atoi(arguments[2]) : 0;
  int failed = 0;
  for (int i = 0; i < wanted; ++i) {
    STARTUPINFOA startup = {sizeof(startup)};
    PROCESS_INFORMATION created;
    DWORD code = 0;
    if (!CreateProcessA(arguments[1], NULL, NULL, NULL, FALSE, 0, NULL, NULL, &startup, &created)) {
      printf("%d: error %lu\n", i, GetLastError());
      ++failed;
      continue;
    }
    WaitForSingleObject(created.hProcess, INFINITE);
    if (!GetExitCodeProcess(created.hProcess, &code) || code != 0) {
      printf("%d: exit code %lu\n", i, code);
      ++failed;
    }
    CloseHandle(created.hThread);
    CloseHandle(created.hProcess);
    if ((i + 1) % 1000 == 0) {
      printf("%d so far, %d failed\n", i + 1, failed);
      fflush(stdout);
    }
  }
  printf("%d processes, %d failed\n", wanted, failed);
  return wanted == 0 || failed != 0;
}
SOURCE
for program in empty soak; do
    x86_64-w64-mingw32-gcc-posix -O1 -o "$folder/$program.exe" "$folder/$program.c"
done
WINEPREFIX=$prefix "$WINE" 'C:\soak\soak.exe' 'C:\soak\empty.exe' "$count"
