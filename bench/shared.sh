#!/usr/bin/env bash
# shared.sh PROGRAMS [SCALE]: what a bucket and a shared catalog cost, with servers on this machine that end with it: the
# requests and the ways to the servers and back, which are counted and do not depend on what else the machine does; the
# size of a row; a backup and a restore of 2 GiB beside those of a directory; and a query among 1,000,000 items. The
# last ones grow with the scale (1). Prints a line for each: name, value and unit, with tabs between.
set -Eeuo pipefail
root=$(cd "${BASH_SOURCE[0]%/*}/.." && pwd)
programs=$(cd "$1" && pwd)
scale=${2:-1}
home=$(mktemp -d -p "${programs%/*}" shared_bench.XXXXXX)
# The database's own user has to get there.
database=$(mktemp -d)
servers=()

tell() { printf '%s\t%s\t%s\n' "$1" "$2" "$3"; }

# ---- The servers ------------------------------------------------------------------------------------------

# shellcheck disable=SC2317  # called by the trap
end_all() {
  exec 7>&- 8>&-
  wait "${servers[@]}" || true
  cd /
  rm -rf "$database"
  if [ -n "${failed-}" ]; then
    echo "It failed in line $failed: $(tail -n 1 "$home/console"); see $home" >&2
  else
    rm -rf "$home"
  fi
}

# address PLACE: once the server answers.
address() {
  until [ -s "$1/ready" ]; do
    for server in "${servers[@]}"; do
      kill -0 "$server"
    done
    sleep 0.1
  done
  cat "$1/ready"
}

# section NAME LINE...: of the configuration.
section() {
  printf '[%s]\n' "$1"
  printf '%s\n' "${@:2}"
}

start() {
  mkdir "$home/store" "$home/saptrace"
  mkfifo "$home/store/end" "$database/end"
  "$root/tests/servers/object_store.sh" "$home/store" <"$home/store/end" >"$home/store.log" 2>&1 &
  servers+=($!)
  "$root/tests/servers/database.sh" "$database" <"$database/end" >"$home/database.log" 2>&1 &
  servers+=($!)
  exec 7>"$home/store/end" 8>"$database/end"
  trap end_all EXIT
  trap 'failed=$LINENO' ERR
  endpoint=$(address "$home/store")
  address "$database" >/dev/null
  port=$(cat "$database/port")
  url="postgresql://korvo@127.0.0.1:$port/postgres?sslmode=disable&passfile=$database/pgpass"
  local bucket=("endpoint = $endpoint" "access_key = test:tester" "secret_key = testing" "catalog = $url")
  cd "$home"
  {
    section directory "repository = $home/directory"
    section shared "repository = s3://bucket/shared" "${bucket[@]}" "catalog_schema = shared"
    section many "repository = s3://bucket/many" "${bucket[@]}" "catalog_schema = bench"
  } >korvo.ini
  chmod 600 korvo.ini
  export KORVO_CONFIG=$home/korvo.ini XDG_STATE_HOME=$home/state PATH=$programs:$PATH
  for server in directory shared many; do
    korvo init "$server" >init.log
  done
}

# ---- The work ---------------------------------------------------------------------------------------------

# run COMMAND...: with what is to watch it in front.
watch=()
run() { "${watch[@]}" "$@" >console 2>&1; }

# backint_with SERVER FUNCTION LIST
backint_with() {
  printf '%s\n' "KORVO_SERVER=$1" KORVO_JOB=bench KORVO_POOL=bench XFR=xfr XFR_COM_INTERFACE=xfr_com_interface \
    KORVO_RAW_UTIL=none BI_TRACE_LEVEL=0 >par
  rm -f answers
  BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW ORACLE_SID=BEN ORACLE_HOME=. SAPDATA_HOME=. SAPBACKUP=. SAPARCH=. \
    run backint -u ben -f "$2" -p par -i "$3" -o ./answers
}

# Each answer of a backup names the saveset first.
saveset() { awk 'NR == 1 { print $2 }' answers; }

# make_small NAME NUMBER: so many files of 8 KiB, and NAME.in, which lists them.
make_small() {
  mkdir "$1"
  head -c "$(($2 * 8192))" /dev/urandom | split -b 8192 -d -a 6 - "$1/f"
  find "$home/$1" -type f >"$1.in"
}

# counted NAME COMMAND...: the requests that all its processes send to the bucket, and how often one of them waits for
# the database's answer.
counted() {
  watch=(strace -f -qq -yy -s 8 -e "trace=sendto,recvfrom" -e signal=none -o calls)
  "${@:2}"
  watch=()
  awk -v bucket=":${endpoint##*:}]" -v database=":$port]" -v name="$1" '
    { server = match($0, /TCP:\[[^]]*\]/) ? substr($0, RSTART, RLENGTH) : "" }
    index(server, bucket) && match($0, /"(PUT|GET|HEAD|DELETE) /) { ++verbs[substr($0, RSTART + 1, RLENGTH - 2)] }
    index(server, database) && / sendto\(/ { asked[server] = 1 }
    index(server, database) && / recvfrom\(/ { waits += asked[server]; asked[server] = 0 }
    END {
      for (verb in verbs) { requests += verbs[verb]; told = told ", " verbs[verb] " " verb }
      printf "%s: bucket%s\t%d\trequests\n", name, told, requests
      printf "%s: database\t%d\tround trips\n", name, waits
    }' calls
}

# timed NAME COMMAND...
timed() {
  local start=$EPOCHREALTIME
  "${@:2}"
  tell "$1" "$(awk -v start="$start" -v end="$EPOCHREALTIME" 'BEGIN { printf "%.3f", end - start }')" s
}

count_all() {
  local oldest
  make_small few 1000
  make_small more 11000
  counted "backup of 1,000 small files" backint_with shared backup few.in
  oldest=$(saveset)
  counted "backup of 11,000 small files" backint_with shared backup more.in
  counted "backup of 1,000 small files that are known" backint_with shared backup few.in
  sed "s/^/$oldest /" few.in >few.back
  rm -r few
  counted "restore of 1,000 small files" backint_with shared restore few.back
  counted "query for a file" run xfr_com_interface -q -C shared -s NULL "BEN@$home/few/f000000"
  counted "deleting a saveset of 1,000 small files" run korvo expire shared --saveset "$oldest" --delete --now
}

ask_database() {
  "$(find /usr/lib/postgresql -name psql | sort -V | tail -n 1)" "$url" -AtXc "$1"
}

# compare_large: one file of programs and libraries, to a directory and to a bucket.
compare_large() {
  local server size mib
  size=$(awk -v scale="$scale" 'BEGIN { printf "%d", scale * 2 ^ 31 }')
  find /usr/lib /usr/bin -type f -size +16k -print0 2>/dev/null | sort -z | xargs -0 cat 2>/dev/null |
    head -c "$size" >large || true
  mib=$(($(stat -c %s large) >> 20))
  echo "$home/large" >large.in
  for server in directory shared; do
    timed "backup of $mib MiB, $server" backint_with $server backup large.in
    sed "s/^/$(saveset) /" large.in >large.$server
  done
  mv large saved
  for server in directory shared; do
    timed "restore of $mib MiB, $server" backint_with $server restore large.$server
    cmp large saved
  done
  counted "backup of $mib MiB that are known" backint_with shared backup large.in
  cp --sparse=never saved larger
  echo "$home/larger" >large.in
  counted "backup of $mib MiB" backint_with shared backup large.in
  rm large larger saved
  counted "making the catalog anew from $(ask_database 'SELECT count(*) FROM shared.pack') packs" run korvo rebuild shared
}

# ask_many: a catalog with so many rows, of 2,000 backups of the same files.
ask_many() {
  local items
  items=$(awk -v scale="$scale" 'BEGIN { printf "%d", scale * 1000000 }')
  catalog_bench "$url" "$items" 2000 10000 >console
  ask_database 'VACUUM ANALYZE' >console
  tell "catalog of $items items, with its indexes" "$(ask_database "SELECT round(sum(pg_total_relation_size(oid)) / $items)
    FROM pg_class WHERE relnamespace = 'bench'::regnamespace AND relkind = 'r'")" "bytes an item"
  timed "query for a file that is in 2,000 backups, $items items" \
    run xfr_com_interface -q -C many -s NULL ABC@/oracle/ABC/sapdata7/undo_7/undo.data7
  [ "$(grep -c '^savesetname=' console)" = 2000 ]
  timed "what a rule lets expire among 2,000 savesets" run korvo expire many --database ABC --keep-last 1900
  counted "deleting 100 savesets with $((items / 2000)) items and 5 packs each" \
    run korvo expire many --database ABC --keep-last 1900 --delete --now
  grep -q '^100 savesets of 2000 went' console
}

start
count_all
compare_large
ask_many
