#!/usr/bin/env bash
# Runs the commands that docs/owner.md shows, in their order, and compares what they print with what the page says they
# print. Directories of a machine are below a directory of the test; numbers, times and ids need not be the same.
# Usage: owner_guide.sh BUILD [PAGE]; with --print behind the page it prints the page with what really comes.
set -euo pipefail
bin=$(realpath "$1")/bin
page=$(realpath "${2:-docs/owner.md}")
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
export LC_ALL=C PATH=$bin:$PATH KORVO_CONFIG=$place/etc/korvo/korvo.ini

# The page's directories, here.
here() { sed -E "s#(^|[ =\"'])/(backup|etc|oracle|root|tmp|mnt|var)/#\1$place/\2/#g"; }
# And back; what differs each time looks the same.
alike() {
  sed -E "s#$place##g; s/[0-9]{4}-[0-9]{2}-[0-9]{2}[ T][0-9:]+Z?/TIME/g; s/[0-9a-f]{32}/ID/g; s/DEM_+[0-9]+(_[0-9]+)?/SAVESET/g; s/[0-9]+(\.[0-9]+)?/0/g
    s/0 (B|bytes|KiB|MiB|GiB|s|seconds|minutes|hours|days)\b/0 UNIT/g; s/ +/ /g; s/[ -]+\$//"
}

# What the page takes for given: a database of a few files, and how backint is called for it.
prepare() {
  mkdir -p "$place"/{backup,etc/korvo,root,tmp,mnt,var/tmp} "$place"/oracle/DEM/{sapdata1,saptrace,sapbackup,saparch,Database}
  cd "$place/oracle/DEM"
  local number
  for number in 1 2 3; do
    seq $((number * 100000)) $((number * 100000 + 90000)) >"sapdata1/system.data$number"
  done
  printf '%s\n' KORVO_SERVER=prod KORVO_JOB=DEM KORVO_POOL=DAILY XFR=xfr XFR_COM_INTERFACE=xfr_com_interface \
    KORVO_RAW_UTIL=none >Database/initDEM.utl
  find "$PWD/sapdata1" -type f | sort >list
  export ORACLE_SID=DEM BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW ORACLE_HOME=$PWD SAPDATA_HOME=$PWD \
    SAPBACKUP=$PWD/sapbackup SAPARCH=$PWD/saparch
}

# Savesets have other names here. In order of their first mention they are the same ones.
told=()
real=()
# learn ARRAY TEXT: notes the names that were not mentioned before.
learn() {
  local -n names=$1
  local name
  while read -r name; do
    [[ " ${names[*]-} " = *" $name "* ]] || names+=("$name")
  done < <(grep -oE 'DEM_+[0-9]+(_[0-9]+)?' <<<"$2")
}
with_real_names() {
  local text i
  text=$(cat)
  for i in "${!told[@]}"; do
    text=$(sed -E "s/${told[$i]}\b/${real[$i]-}/g" <<<"$text")
  done
  printf '%s\n' "$text"
}

# run_command COMMAND EXPECTED. `cat FILE` shows a file that the reader writes.
run_command() {
  local command printed
  command=$(here <<<"$1" | with_real_names)
  if [[ $1 = 'cat '* ]]; then
    mkdir -p "$(dirname "${command#cat }")"
    here <<<"$2" >"${command#cat }"
    printed=$2
  else
    printed=$(bash -c "$command" 2>&1 </dev/null | sed "s#$place##g") || true
  fi
  learn told "$2"
  learn real "$printed"
  if [ "$print" = yes ]; then
    printf '    $ %s\n' "$(with_real_names <<<"$1")"
    [ -z "$printed" ] || sed 's/^/    /; s/ *$//' <<<"$printed"
  elif ! diff <(alike <<<"$2" | sed '/^$/d') <(alike <<<"$printed" | sed '/^$/d'); then
    echo "$page says something else (<) than what this prints (>): $1"
    wrong=$((wrong + 1))
  fi
}

command=""
expected=""
wrong=0
commands=0
print=no
finish_command() {
  [ -z "$command" ] || run_command "$command" "${expected%$'\n'}"
  command=""
  expected=""
}

[ "${3:-}" != --print ] || print=yes
mapfile -t lines <"$page"
prepare
for line in "${lines[@]}"; do
  case $line in
    '    $ '*)
      finish_command
      command=${line#'    $ '}
      commands=$((commands + 1))
      ;;
    '    '*) if [ -n "$command" ]; then expected+=${line#'    '}$'\n'; elif [ $print = yes ]; then echo "$line"; fi ;;
    *)
      finish_command
      [ $print = no ] || echo "$line"
      ;;
  esac
done
finish_command
[ "$commands" -gt 0 ] || echo "no command found in $page"
[ "$wrong" = 0 ] && [ "$commands" -gt 0 ]
