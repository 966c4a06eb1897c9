#!/usr/bin/env bash
# doc_examples.sh DOCUMENT FOLDER: writes each block of the document that begins with "```json example=NAME" into
# FOLDER/example_NAME.json.
set -euo pipefail
mkdir -p "$2"
rm -f "$2"/example_*.json
awk -v folder="$2" '
    /^```json example=[a-z_]+$/ { file = folder "/example_" substr($0, 17) ".json"; next }
    /^```$/ { if (file) close(file); file = "" }
    file { print >file }
' "$1"
