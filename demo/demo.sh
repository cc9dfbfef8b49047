#!/usr/bin/env bash
# Plays a database's backup with real files: saves copies of them, asks what was saved, deletes the copies,
# brings them back in three ways and compares every byte. Called by `./run demo`, which builds first.
set -Eeuo pipefail
trap 'printf "\nDEMO FAILED: it stopped in line %d of demo/demo.sh\n" "$LINENO"' ERR
export LC_ALL=C
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bin=$root/build/linux/bin
home=$root/build/demo
started=$SECONDS
failures=0
# A directory that is saved whole. Its name has a space, as names on a real machine do.
tree="whole tree"

# ---- What it prints ---------------------------------------------------------------------------------------

title() { printf '\n== %s\n' "$*"; }
say() { printf '   %s\n' "$*"; }

# After five failures, hundreds more would say nothing new.
fail() {
  failures=$((failures + 1))
  say "WRONG: $*"
  [ "$failures" -lt 5 ] || end_demo "it stopped at the fifth thing that went wrong"
}

# end_demo WHY
end_demo() {
  printf '\nDEMO FAILED: %s, %d seconds\n' "$1" $((SECONDS - started))
  exit 1
}

# show FILE MARK COUNT: the first lines of a file, each after the mark, and how many more there are.
show() {
  local lines
  lines=$(wc -l <"$1")
  head -n "$3" "$1" | sed "s/^/   $2 /"
  if [ "$lines" -gt "$3" ]; then
    say "$2 ... and $((lines - $3)) more"
  fi
}

kibibytes() { du -sk --apparent-size "$1" | cut -f1; }
mebibytes() {
  { du -sk --apparent-size "$1" 2>/dev/null || true; } | awk '{ size = $1 } END { printf "%.0f MiB", size / 1024 }'
}

# ---- Running the program ----------------------------------------------------------------------------------

# backint_run FUNCTION NAME [TYPE]: runs the program with NAME.in and NAME.out, which are in the directory SAPBACKUP.
backint_run() {
  local command=(backint -u dem -f "$1" -t "${3:-file}" -p initDEM.utl -i "$2.in" -o "$2.out")
  local start=$EPOCHREALTIME status=0
  say "\$ ${command[*]}"
  show "sapbackup/$2.in" "<" 2
  "${command[@]}" >console.txt 2>&1 || status=$?
  touch "sapbackup/$2.out"
  show "sapbackup/$2.out" ">" 3
  awk -v a="$start" -v b="$EPOCHREALTIME" -v s="$status" \
    'BEGIN { printf "   exit status %d after %.2f seconds\n", s, b - a }'
  if [ "$status" != 0 ]; then
    fail "the exit status should be 0; what it printed is in $home/console.txt"
  fi
}

# expect NAME KEYWORD COUNT: whether NAME.out holds so many lines, each with this keyword.
expect() {
  local all right
  all=$(wc -l <"sapbackup/$1.out")
  right=$(grep -c "^#$2 " "sapbackup/$1.out" || true)
  if [ "$all" != "$3" ] || [ "$right" != "$3" ]; then
    fail "$3 lines #$2 were expected, $right of $all came"
  fi
}

# Plays BRBACKUP's side of an online job: twice, before and after the mover, it gets the names of the files and
# answers. This database has nothing to switch.
answer_switches() {
  for _ in 1 2; do
    until [ -e sapbackup/.switch.sem ]; do sleep 0.1; done
    cat sapbackup/.switch.lis >>heard.txt
    echo "#SUCCESS" >sapbackup/.switch.log
    rm sapbackup/.switch.lis
    rm sapbackup/.switch.sem
  done
}

# Restores and queries write %20 for each space of a name.
asked_for() { sed 's/ /%20/g'; }

# ---- Real files -------------------------------------------------------------------------------------------

# take KIND MEBIBYTES DEPTH DIRECTORY...: copies files below the directories until there are so many mebibytes.
take() {
  local kind=$1 most=$(($2 * 1024 * 1024)) depth=$3
  shift 3
  mkdir -p "data/$kind"
  { find -L "$@" -maxdepth "$depth" -type f -readable ! -path '*[\\ ]*' -printf '%s %p\n' 2>/dev/null || true; } |
    sort -u -k2 | awk -v most="$most" 'sum + $1 <= most { sum += $1; print $2 }' >"$kind.list"
  (cd / && sed 's|^/||' | xargs -d '\n' cp --parents --dereference --preserve=mode,timestamps \
    -t "$home/data/$kind") <"$kind.list"
}

prepare_files() {
  local number=0 original
  take programs 120 1 /usr/bin
  take libraries 200 2 /usr/lib/*-linux-gnu /usr/lib/gcc/*-linux-gnu
  take documentation 10 2 /usr/share/doc
  find "$home/data" -type f | sort >data.list
  cp -a /etc/alternatives "$tree"
  cp -a "$home/data/documentation" "$tree/documents"
  mkdir -m 750 "$tree/empty"
  mkdir saparch
  head -n 20 documentation.list | while read -r original; do
    number=$((number + 1))
    cp "$original" "saparch/DEM_$number.log"
  done
  cp -a "$tree" tree.copy
  cp -a saparch saparch.copy
  changed=$(grep -m 1 -F "$home/data/documentation/" data.list)
}

# ---- The configuration ------------------------------------------------------------------------------------

prepare_configuration() {
  mkdir -p sapdata/saptrace sapbackup saparch oracle
  cat >initDEM.utl <<TEXT
KORVO_SERVER=demoserver
KORVO_JOB=DEMO
KORVO_POOL=DEMOPOOL
XFR=xfr
XFR_COM_INTERFACE=xfr_com_interface
KORVO_RAW_UTIL=none
SAVESET_SIZE=100
DIRECTORY_XFR_USE=YES
BI_TRACE_LEVEL=3
TEXT
  cat >korvo.ini <<TEXT
[demoserver]
repository=$home/repository
compression=3
TEXT
  {
    printf 'export ORACLE_SID=DEM BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW\n'
    printf 'export %s=%q\n' ORACLE_HOME "$home/oracle" SAPDATA_HOME "$home/sapdata" SAPBACKUP "$home/sapbackup" \
      SAPARCH "$home/saparch" KORVO_CONFIG "$home/korvo.ini"
    # shellcheck disable=SC2016  # for the shell that reads it
    printf 'export PATH=%q:"$PATH"\n' "$bin"
  } >environment.sh
  # shellcheck source=/dev/null
  . ./environment.sh
}

# ---- The steps --------------------------------------------------------------------------------------------

back_up() {
  title "1. Back up $(wc -l <data.list) files ($(mebibytes data)), as BRBACKUP does"
  cp data.list sapbackup/backup.in
  backint_run backup backup
  expect backup SAVED "$(wc -l <data.list)"
  say "$(cut -d ' ' -f 2 sapbackup/backup.out | sort -u | wc -l) savesets, $(mebibytes repository) in the repository"

  title "2. Change one file, and back up everything again"
  local before added
  before=$(kibibytes repository)
  echo "a line that came later" >>"$changed"
  cp "$changed" changed.copy
  cp data.list sapbackup/again.in
  backint_run backup again
  expect again SAVED "$(wc -l <data.list)"
  added=$(($(kibibytes repository) - before))
  say "$(mebibytes data) read and confirmed, $added KiB added to the repository: what it has already is referred to"
  if [ "$added" -gt $((before / 10)) ]; then
    fail "the second backup should add much less"
  fi
}

back_up_others() {
  local peer
  title "3. Back up a directory with everything in it: files, links, an empty directory"
  echo "$home/$tree" >sapbackup/tree.in
  backint_run backup tree
  expect tree SAVED 1

  title "4. Back up $(find saparch -name '*.log' | wc -l) archive logs in one run"
  find "$home/saparch" -name '*.log' | sort >sapbackup/logs.in
  backint_run backup logs
  expect logs SAVED "$(wc -l <sapbackup/logs.in)"

  title "5. Back up 3 files of an open database, which is told before and after"
  sed -n 2,4p data.list >sapbackup/online.in
  answer_switches &
  peer=$!
  backint_run backup online file_online
  kill "$peer" 2>/dev/null || true
  expect online SAVED 3
  show heard.txt "database heard:" 4
}

# inquire NAME QUESTION COUNT: asks one question, to which so many lines are the answer.
inquire() {
  echo "$2" >"sapbackup/$1.in"
  backint_run inquire "$1"
  expect "$1" BACKUP "$3"
}

ask() {
  local id file savesets
  id=$(grep -F " $changed" sapbackup/again.out | cut -d ' ' -f 2)
  file=$(asked_for <<<"$changed")
  savesets=$(cat sapbackup/{backup,again,tree,logs,online}.out | cut -d ' ' -f 2 | sort -u | wc -l)

  title "6. Ask what there is"
  say "All backups of the database, the last one first:"
  inquire all "#NULL" "$savesets"
  say "The backups of the changed file:"
  inquire file "#NULL $file" 2
  say "What one backup contains:"
  inquire contents "$id" "$(grep -c "^#SAVED $id " sapbackup/again.out)"
  say "Whether it contains the file:"
  inquire holds "$id $file" 1
  say "And one that was never saved:"
  echo "$id $file.never" >sapbackup/never.in
  backint_run inquire never
  expect never NOTFOUND 1
}

lose() {
  title "7. Lose the files"
  rm -r data
  rm -r "$tree" saparch/*.log
  say "deleted: $home/data, $home/$tree and the archive logs"
}

bring_back() {
  title "8. Bring the programs back, each from the backup that its #SAVED line names"
  grep -F " $home/data/programs/" sapbackup/backup.out | cut -d ' ' -f 2 >ids
  grep -F " $home/data/programs/" sapbackup/backup.out | cut -d ' ' -f 3- | asked_for >names
  paste -d ' ' ids names >sapbackup/byid.in
  backint_run restore byid
  expect byid RESTORED "$(wc -l <sapbackup/byid.in)"

  title "9. Bring the rest back, each from its last backup, whichever that is"
  grep -vF "$home/data/programs/" data.list | asked_for | sed 's/^/#NULL /' >sapbackup/last.in
  backint_run restore last
  expect last RESTORED "$(wc -l <sapbackup/last.in)"

  title "10. Bring the programs back once more, into another directory"
  sed 's/$/ elsewhere/' sapbackup/byid.in >sapbackup/elsewhere.in
  backint_run restore elsewhere
  expect elsewhere RESTORED "$(wc -l <sapbackup/elsewhere.in)"
}

bring_back_others() {
  title "11. Bring the directory and the archive logs back"
  cat sapbackup/tree.in sapbackup/logs.in | asked_for | sed 's/^/#NULL /' >sapbackup/others.in
  backint_run restore others
  expect others RESTORED "$(wc -l <sapbackup/others.in)"
}

# What there is below a directory, with modes, times and where links lead.
inventory() { (cd "$1" && find . -printf '%P %y %m %T@ %l\n' | sort); }

# same ORIGINAL COPY
same() {
  compared=$((compared + 1))
  cmp -s "$1" "$2" || fail "$2 is not as $1"
}

compare() {
  local kind original
  compared=0
  title "12. Compare every byte with the originals"
  for kind in programs libraries documentation; do
    while read -r original; do
      if [ "$home/data/$kind$original" = "$changed" ]; then
        same changed.copy "$changed"
        continue
      fi
      same "$original" "data/$kind$original"
      if [ "$kind" = programs ]; then
        same "$original" "elsewhere/$(basename "$original")"
      fi
    done <"$kind.list"
  done
  while read -r original; do
    same "tree.copy/$original" "$tree/$original"
  done < <(cd tree.copy && find . -type f)
  cmp -s <(inventory tree.copy) <(inventory "$tree") || fail "the directory is not as it was"
  while read -r original; do
    same "saparch.copy/$(basename "$original")" "$original"
  done <sapbackup/logs.in
  say "$compared files compared, and the times, modes and links of the directory"
}

# korvo_run ARGUMENT...: runs the owner's tool, whose lines it shows.
korvo_run() {
  local status=0
  say "\$ korvo $*"
  korvo "$@" >korvo.txt 2>&1 || status=$?
  show korvo.txt ">" 12
  if [ "$status" != 0 ]; then
    fail "the exit status of korvo $1 was $status, and should be 0"
  fi
}

look_after() {
  title "13. Look at what is there, as the owner of the repository"
  korvo_run list demoserver
  korvo_run find demoserver "$changed"
  title "14. Check every byte of it"
  korvo_run verify demoserver
  title "15. A page to look at"
  korvo_run report demoserver "$home/report.html"
}

tell_where() {
  title "To go on from here"
  say "cd build/demo && . ./environment.sh"
  say "parameter file   build/demo/initDEM.utl"
  say "traces           build/demo/sapdata/saptrace/"
  say "in and out files build/demo/sapbackup/"
  say "repository       build/demo/repository/ (set in build/demo/korvo.ini)"
  say "report           build/demo/report.html (open it in a browser)"
}

rm -rf "$home"
mkdir -p "$home"
cd "$home"
title "Copies of real files, and a repository of their own, in build/demo"
prepare_files
prepare_configuration
say "$(mebibytes data/programs) of programs, $(mebibytes data/libraries) of libraries, $(mebibytes data/documentation) of documentation"
say "The commands below run in build/demo. Their in-files (<) and out-files (>) are in build/demo/sapbackup."
back_up
back_up_others
ask
lose
bring_back
bring_back_others
compare
look_after
tell_where
if [ "$failures" != 0 ]; then
  end_demo "$failures things went wrong, $compared files compared"
fi
printf '\nDEMO PASSED: %d files compared, every byte is as it was, %d seconds\n' \
  "$compared" $((SECONDS - started))
