#!/usr/bin/env bash
# Unpacks the Windows zip below a path with blanks that is as long as one may be, tells the registry, has its programs
# save and restore under Wine, and builds against its library.
# Usage: windows_zip.sh ZIP WINE; WINEPREFIX is set.
set -euo pipefail
here=$(realpath "$(dirname "$0")")
. "$here/installed.sh"
zip=$(realpath "$1")
wine=$2
drive=$WINEPREFIX/drive_c
place='Program Files/backint with blank'
home=$drive/$place
directory="C:\\${place//\//\\}\\bin"
key='HKLM\SOFTWARE\Talvani Systeme GmbH\korvo'
[ ${#directory} = 39 ]

rm -rf "$home" "$drive/database"
trap '"$wine" reg delete "$key" /f; rm -rf "$home" "$drive/database"' EXIT
mkdir -p "$home"
(cd "$home" && cmake -E tar xf "$zip" && mv backint-*/* . && rmdir backint-*)
"$wine" reg add "$key" /v KV_BIN_KORVO /d "$directory" /f

# Without a variable for it, the configuration is beside the programs.
run_backint() { env "${variables[@]/#KORVO_CONFIG=*/UNUSED=}" "$wine" "$home/bin/backint.exe" "$@"; }
# Without lines for the tools, the registry tells where they are.
sed -i '/^XFR\|^KORVO_RAW/d' "$home/examples/initDEM.utl"
# shellcheck disable=SC1003  # a backslash at the end of a path
round_trip "$drive/database" 'C:\database\' "$home/examples" "$home/examples/korvo.ini" "$home/bin/korvo.ini"

check_documents "$home"
use_library "$home" "$home/examples" x86_64-w64-mingw32-gcc-posix "$wine" -DCMAKE_TOOLCHAIN_FILE="$here/../../cmake/mingw-w64.cmake" \
  -DCMAKE_EXE_LINKER_FLAGS=-static
x86_64-w64-mingw32-nm "$home/lib/libbackint.dll.a" 2>/dev/null | grep 'T szPath2Dos$'
