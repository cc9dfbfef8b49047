#!/usr/bin/env bash
# Unpacks the Windows zip below a path with blanks that is as long as the registry's may be, tells the registry, and has its
# programs save and restore under Wine.
# Usage: windows_zip.sh ZIP WINE; WINEPREFIX is set.
set -euo pipefail
. "$(dirname "$0")/round_trip.sh"
zip=$(realpath "$1")
wine=$2
drive=$WINEPREFIX/drive_c
place='Program Files/backint with blank'
home=$drive/$place
directory="C:\\${place//\//\\}\\bin"
key='HKLM\SOFTWARE\Talvani Systeme GmbH\korvo'
[ ${#directory} = 39 ]

clean() { rm -rf "$home" "$drive/database"; }
end() {
  "$wine" reg delete "$key" /f
  clean
}
clean
trap end EXIT
mkdir -p "$home"
(cd "$home" && cmake -E tar xf "$zip" && mv backint-*/* . && rmdir backint-*)
"$wine" reg add "$key" /v KV_BIN_KORVO /d "$directory" /f

run_backint() { env "${variables[@]}" "$wine" "$home/bin/backint.exe" "$@"; }
# Without lines for the tools, the registry tells where they are.
sed -i '/^XFR\|^KORVO_RAW/d' "$home/examples/initDEM.utl"
round_trip "$drive/database" 'C:\database\' "$home/examples" "$home/bin/korvo.ini"
