#!/usr/bin/env bash
# many_machines.sh PROGRAMS MINUTES: movers on four simulated machines back up twelve databases into one repository, in
# a bucket whose catalog is in a database. Every now and then one is killed. All the time another machine deletes what
# is not among the last two of each database. In the end everything that was confirmed and is listed has to restore.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
programs=$(cd "$1" && pwd)
place=$(mktemp -d)
as_host=$here/scenarios/data/posix/as_host.sh
# The database's own user has to get there.
database=$(mktemp -d)
cd "$place"
mkdir store confirmed
mkfifo store/end "$database/end"
"$here/servers/object_store.sh" "$place/store" <store/end >store.log 2>&1 &
servers=($!)
"$here/servers/database.sh" "$database" <"$database/end" >database.log 2>&1 &
servers+=($!)
exec 7>store/end 8>"$database/end"
workers=()

# shellcheck disable=SC2317  # called by the trap
end_all() {
  touch over
  [ ${#workers[@]} = 0 ] || wait "${workers[@]}" || true
  exec 7>&- 8>&-
  wait
  cd /
  rm -rf "$database"
  [ -n "${KEEP_FAILED:-}" ] || rm -rf "$place"
}
trap end_all EXIT

await_servers() {
  local server
  for server in store "$database"; do
    until [ -s "$server/ready" ]; do
      kill -0 "${servers[0]}"
      kill -0 "${servers[1]}"
      sleep 0.2
    done
  done
  cat >korvo.ini <<TEXT
[srv]
repository = s3://bucket/many
endpoint = $(cat store/ready)
access_key = test:tester
secret_key = testing
catalog = postgresql://korvo@/postgres?host=$database
grace = 0s
TEXT
  chmod 600 korvo.ini
  export KORVO_CONFIG=$place/korvo.ini
}

# on HOST PROGRAM ARGUMENT...
on() { "$as_host" "$1" "$programs/$2" "${@:3}"; }
# value KEY: of the reply; nothing if there is none, as of a tool that was refused.
value() { sed -n "s/^$1=//p"; }

# back_up HOST DATABASE NUMBER: one backup of the database's three files; every seventh is killed on its way. What is
# confirmed is noted with its checksum.
back_up() {
  local session saveset file mover status=0
  for file in a b c; do
    { [ -f "$2/$file" ] && [ $((RANDOM % 2)) = 0 ]; } || head -c $((RANDOM * 20)) /dev/urandom >"$2/$file"
  done
  (cd "$2" && sha256sum a b c) >"$2.sums"
  session=$(on "$1" xfr_com_interface -b open -C srv -v 2 | value SESSIONID) || true
  saveset=$(on "$1" xfr_com_interface -b "openjob:$session" -C srv -j J -m pool -s "$2___17000$(printf %05d "$3")" -v 2 |
    value SAVESETNAME) || true
  [ -n "$saveset" ] || {
    echo "$2: no saveset" >>failures
    return
  }
  "$as_host" "$1" "$programs/xfr" -b -S srv -s "$saveset" "$place/$2/a" "$place/$2/b" "$place/$2/c" 2>"$2.lines" &
  mover=$!
  if [ $((RANDOM % 7)) = 0 ]; then
    sleep 0.$((RANDOM % 10))
    ! kill -9 $mover 2>/dev/null || echo kill >>kills
    status=3
  fi
  wait $mover 2>/dev/null || {
    [ $status = 3 ] || {
      echo "$2: a mover failed: $(grep -v '^-3108' "$2.lines" | head -n 3)" >>failures
    }
    status=3
  }
  sed -n 's|.*successfully \[.*/\(.\)\]$|\1|p' "$2.lines" | while read -r file; do
    echo "$saveset $2 $file $(sed -n "s/  $file$//p" "$2.sums")"
  done >>"confirmed/$2"
  on "$1" xfr_com_interface -b "closejob:$session" -C srv -s "$saveset" -i $status -v 2 >"$2.close" 2>>"$2.notes" || true
  on "$1" xfr_com_interface -b "close:$session" -C srv -i $status -v 2 >>"$2.close" 2>>"$2.notes" || true
  ! grep -v 'programs that were killed left' "$2.notes" || echo "$2: $(tail -n 1 "$2.notes")" >>failures
  [ "$(grep -c '^reply=OK' "$2.close")" = 2 ] || echo "$2: $(grep -v '^reply=OK' "$2.close" | head -n 2)" >>failures
}

run_database() {
  local number=0
  mkdir "$2"
  until [ -e over ]; do
    number=$((number + 1))
    back_up "$1" "$2" $number
  done
}

run_expire() {
  local database
  until [ -e over ]; do
    for database in "${databases[@]}"; do
      on keeper korvo expire srv --database "$database" --keep-last 2 --even-newest --delete --now >expire.log 2>&1 ||
        grep -q 'there is no saveset of database' expire.log || echo "expire: $(tail -n 2 expire.log)" >>failures
    done
  done
}

# Everything confirmed of the savesets that are listed.
check_all() {
  local saveset database file sum checked=0 wrong=0 restored=""
  on keeper korvo list srv >listed
  cat confirmed/* >all_confirmed
  while read -r saveset database file sum; do
    grep -q "^$saveset " listed || continue
    if [ "$saveset" != "$restored" ]; then
      rm -rf back
      on keeper korvo restore srv "$saveset" --to "$place/back" >restore.log 2>&1 || echo "$saveset: $(tail -n 2 restore.log)"
      restored=$saveset
    fi
    checked=$((checked + 1))
    [ "$(sha256sum <"back$place/$database/$file" | cut -d' ' -f1)" = "$sum" ] || {
      echo "WRONG: $saveset $database/$file"
      wrong=$((wrong + 1))
    }
  done <all_confirmed
  echo "$(wc -l <all_confirmed) files confirmed, $(grep -c . kills || true) movers killed, $(($(wc -l <listed) - 1)) savesets left, $checked files compared, $wrong wrong"
  [ "$checked" -gt 0 ] && [ "$wrong" = 0 ]
}

await_servers
touch kills failures
on keeper korvo init srv >init.log
databases=()
for host in one two three four; do
  for number in 1 2 3; do
    databases+=("${host^^}$number")
    run_database $host "${host^^}$number" 7>&- 8>&- &
    workers+=($!)
  done
done
run_expire 7>&- 8>&- &
workers+=($!)
sleep "$(awk -v minutes="$2" 'BEGIN { print minutes * 60 }')"
touch over
wait "${workers[@]}" || true
workers=()  # what has been waited for is no child any more
status=0
check_all || status=1
on keeper korvo verify srv || status=1
if [ -s failures ]; then
  echo "What failed without having been killed:"
  sort failures | uniq -c | sort -rn | head -n 20
  status=1
fi
exit $status
