#!/usr/bin/env bash
# documents.sh FOLDER...: in the pages of each folder, every link leads to a file, and every link to a chapter to one.
set -euo pipefail
status=0

# The anchors of a page's chapters, one a line.
anchors() { sed -nE 's/^#+ //p' "$1" | tr '[:upper:] ' '[:lower:]-' | tr -cd 'a-z0-9_\n-'; }

check_link() {
  local page=$1 link=$2 target
  target=$(dirname "$page")/${link%%#*}
  [[ $link = '#'* ]] && target=$page
  if [ ! -e "$target" ]; then
    echo "$page: no such file: $link"
    status=1
  elif [[ $link = *'#'* ]] && ! anchors "$target" | grep -qx -- "${link#*#}"; then
    echo "$page: no such chapter: $link"
    status=1
  fi
}

pages=0
for folder in "$@"; do
  while read -r page; do
    pages=$((pages + 1))
    while read -r link; do
      check_link "$page" "$link"
    done < <(grep -oE '\]\([^) ]+\)' "$page" | sed -E 's/^..(.*).$/\1/' | grep -vE '^[a-z]+:' || true)
  done < <(find "$folder" -maxdepth 2 -name '*.md' -not -path "$folder/build/*")
done
[ "$pages" -gt 0 ]
exit $status
