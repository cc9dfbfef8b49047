#!/usr/bin/env bash
# Ctrl-C, pressed on a pseudo-terminal on which the Windows build runs under Wine, while the mover works.
# Usage: ctrl_c_under_wine.sh FOLDER WINE; FOLDER holds the build.
set -euo pipefail

folder=$(realpath "$1")
wine=$2
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
cd "$place"

mkdir -p home/saptrace oracle/Database sapbackup saparch data
touch data/ctl data/a.dbf
printf '%s\n' 'data\ctl' 'data\a.dbf' >in.lis
printf '%s\n' KORVO_SERVER=srv KORVO_JOB=job KORVO_POOL=pool XFR=xfr XFR_COM_INTERFACE=xfr_com_interface \
  KORVO_RAW_UTIL=raw >par.txt
printf '%s\n' 'on backup' '!watch' '!directory reached' '!await interrupted' '!confirm all' \
  '3007 Operation successful' >script.txt
export BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW ORACLE_HOME=oracle SAPDATA_HOME=home SAPBACKUP=sapbackup \
  SAPARCH=saparch ORACLE_SID=ABC SCRIPT=script.txt WINEPATH="Z:${folder//\//\\}\\scripted" run="$folder/bin/backint.exe"

# wait_for NAME: at most a minute.
wait_for() {
  for _ in {1..600}; do
    [ -e "$1" ] && return 0
    sleep 0.1
  done
  echo "never there: $1" >&2
  return 1
}

press_ctrl_c() {
  wait_for reached
  printf '\003'
  sleep 1
  touch interrupted
  wait_for ended || true  # the terminal is there until the run has ended
}

# The terminal's shell gets the Ctrl-C too, and some shells end with it: the trap keeps every one of them alive.
status=0
press_ctrl_c | script -qec "trap : INT; '$wine' '$run' -u sap -p par.txt -i in.lis -o result.lis; status=\$?; touch ended; exit \$status" \
  /dev/null >screen || status=$?
[ "$status" = 2 ] || { sed 's/\x1b\[[0-9?;]*[A-Za-z]//g' screen; echo "exit status $status"; exit 1; }
tr -d '\r' <sapbackup/result.lis | diff - <(printf '%s\n' '#SAVED SET1 data\ctl' '#ERROR data\a.dbf')
for call in closejob close; do
  grep "^xfr_com_interface -b $call:17 .* -i 3 " script.txt.calls
done
