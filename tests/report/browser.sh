#!/usr/bin/env bash
# Opens reports in a browser, as wide as a desk's screen and as a phone's, without a network, and looks for what they
# have to tell.
# Usage: browser.sh FOLDER [PICTURES]; FOLDER holds the build; the pictures stay if they have a folder.
set -euo pipefail

programs=$(realpath "$1")/bin
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
pictures=$place
if [ $# -gt 1 ]; then
  mkdir -p "$2"
  pictures=$(realpath "$2")
fi
export KORVO_CONFIG=$place/korvo.ini HOME=$place TZ=UTC

fail() {
  echo "$1" >&2
  exit 1
}

# browse OPTION...: no host name is found.
browse() {
  timeout 100 chromium --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --hide-scrollbars \
    --user-data-dir="$place/browser" --host-resolver-rules='MAP * ~NOTFOUND' \
    "$@" 2>>"$place/browser.log"
}

# look_at PAGE NAME
look_at() {
  browse --dump-dom "file://$1" >"$place/dom"
  ! grep -qiE '<script|<link|<img|<iframe|@import|url\(|src=|href=|[[:space:]]on[a-z]+=' "$1" || fail "$2 needs more than itself"
}

# draw PAGE NAME: on a desk's screen, on a phone's and on paper.
draw() {
  browse --window-size=1280,3200 --screenshot="$pictures/$2-desk.png" "file://$1"
  browse --window-size=500,3200 --screenshot="$pictures/$2-phone.png" "file://$1"
  browse --print-to-pdf="$pictures/$2.pdf" --no-pdf-header-footer "file://$1"
  local picture
  for picture in "$2-desk.png" "$2-phone.png" "$2.pdf"; do
    # A page that was not drawn is a few thousand bytes of one colour.
    [ "$(stat -c %s "$pictures/$picture")" -gt 15000 ] || fail "$picture is empty"
  done
}

# holds TEXT...: the page that was looked at has them.
holds() {
  local text
  for text in "$@"; do
    grep -qF -- "$text" "$place/dom" || fail "the page does not tell: $text"
  done
}

count_is() {
  local count
  count=$(grep -oF -- "$2" "$place/dom" | wc -l)
  [ "$count" = "$1" ] || fail "$2: $count times, not $1"
}

# ---- A repository with all that can be told ---

"$programs/sample_page" "$place/sample.html"
look_at "$place/sample.html" sample
draw "$place/sample.html" sample
holds 'Backups of prod&lt;script&gt;alert(1)&lt;/script&gt;' '3 of 5 databases have no good backup from the last 30 hours' \
  '3 packs are damaged' 'DEV&lt;1&gt;&amp;' '5 hours old' '25 hours old' '3 days old' 'no good backup' \
  '25 Nov 2025: 1 good backup' '25 Nov 2025: 1 that failed' \
  'Everything was saved, but the program that called for the backup reported a failure.' \
  '17 confirmed items can be restored.' 'the one longest ago on 2025-11-01 12:00:00' '220' 'TiB</text>'
count_is 1 'class="chip good">in time'
count_is 1 'class="chip soon">due soon'
count_is 2 'class="chip bad">overdue'
count_is 454 '<g class="day ' # five calendars, and what the colours mean
count_is 7 '<svg class="'

# ---- A real one, by the programs ---

printf '[prod]\nrepository=%s/repository\n' "$place" >"$KORVO_CONFIG"
"$programs/korvo" init prod >/dev/null
"$programs/korvo" report prod "$place/empty.html" >/dev/null
look_at "$place/empty.html" empty
holds 'There is no backup yet.' 'There is nothing to verify yet.'

head -c 3000000 /dev/urandom >"$place/file"
save() {
  local session saveset
  session=$("$programs/xfr_com_interface" -b open -C prod | sed -n 's/^SESSIONID=//p')
  saveset=$("$programs/xfr_com_interface" -b "openjob:$session" -C prod -j job -s ABC_1700000000 -m pool |
    sed -n 's/^SAVESETNAME=//p')
  "$programs/xfr" -b -S prod -s "$saveset" "$place/file" 2>/dev/null || true
  "$programs/xfr_com_interface" -b "closejob:$session" -C prod -s "$saveset" -i "$1" >/dev/null
  "$programs/xfr_com_interface" -b "close:$session" -C prod -i "$1" >/dev/null
}
save 0
save 0
save 3
umask 077
"$programs/korvo" report prod "$place/page.html" --max-age 1h >/dev/null
[ "$(stat -c %a "$place/page.html")" = 644 ] || fail "not everybody may read the page"
look_at "$place/page.html" page
holds 'The database has a good backup from the last 1 hour.' 'in time' '2 good backups, 1 that failed' '2.9 MiB</span>' \
  'None of the' 'No pack is known to be damaged.'
