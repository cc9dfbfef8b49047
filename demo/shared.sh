#!/usr/bin/env bash
# Plays two machines with a database each and one repository for both: its objects are in a bucket, its catalog is in a
# PostgreSQL database. Called by `./run demo --shared`, which builds first.
set -Eeuo pipefail
trap 'printf "\nDEMO FAILED: it stopped in line %d of demo/shared.sh\n" "$LINENO"' ERR
export LC_ALL=C
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bin=$root/build/linux/bin
home=$root/build/shared-demo
as_host=$root/tests/scenarios/data/posix/as_host.sh
started=$SECONDS
servers=()

title() { printf '\n== %s\n' "$*"; }
say() { printf '   %s\n' "$*"; }
fail() {
  printf '\nDEMO FAILED: %s, %d seconds\n' "$*" $((SECONDS - started))
  exit 1
}

# ---- The servers ------------------------------------------------------------------------------------------

# start SCRIPT PLACE NUMBER: it ends when this script's end of its input, which has that number, is closed.
start() {
  mkfifo "$2/end"
  "$root/tests/servers/$1" "$2" <"$2/end" >"$home/$1.log" 2>&1 &
  servers+=($!)
  eval "exec $3>\"\$2/end\""
}

# shellcheck disable=SC2317  # called by the trap
end_servers() {
  exec 7>&- 8>&-
  wait "${servers[@]}" || true
  rm -rf "$database"
}

# address PLACE PROCESS: once the server answers.
address() {
  until [ -s "$1/ready" ]; do
    kill -0 "$2"
    sleep 0.2
  done
  cat "$1/ready"
}

start_servers() {
  # The database's own user has to get there.
  database=$(mktemp -d)
  trap end_servers EXIT
  mkdir store
  start object_store.sh "$home/store" 7
  start database.sh "$database" 8
  cat >korvo.ini <<TEXT
[prod]
repository = s3://bucket/prod
endpoint = $(address "$home/store" "${servers[0]}")
access_key = test:tester
secret_key = testing
catalog = postgresql://korvo@/postgres?host=$(address "$database" "${servers[1]}")
catalog_schema = prod
grace = 0s
TEXT
  chmod 600 korvo.ini
  export KORVO_CONFIG=$home/korvo.ini PATH=$bin:$PATH
}

# ---- The machines -----------------------------------------------------------------------------------------

# make_machine NAME HALF: with the files of a database, copies of real ones, every second of which another machine has.
make_machine() {
  mkdir -p "$1"/{data,sapdata/saptrace,sapbackup,saparch,oracle}
  find /usr/bin -maxdepth 1 -type f -readable -size -1000k ! -path '*[\\ ]*' | sort |
    awk -v rest="$2" 'NR <= 600 && NR % 2 == rest' | xargs cp --preserve=mode,timestamps -t "$1/data"
  find "$home/$1/data" -type f | sort >"$1/sapbackup/all.in"
  cp -a "$1/data" "$1/original"
  printf '%s\n' KORVO_SERVER=prod KORVO_JOB=DEMO KORVO_POOL=DAILY XFR=xfr XFR_COM_INTERFACE=xfr_com_interface \
    KORVO_RAW_UTIL=none >"$1/init.utl"
}

# backint_on MACHINE DATABASE FUNCTION NAME: with NAME.in and NAME.out.
backint_on() {
  ORACLE_SID=$2 BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW ORACLE_HOME=$home/$1/oracle \
    SAPDATA_HOME=$home/$1/sapdata SAPBACKUP=$home/$1/sapbackup SAPARCH=$home/$1/saparch \
    "$as_host" "$1" backint -u demo -f "$3" -t file -p "$home/$1/init.utl" -i "$4.in" -o "$4.out" \
    >"$1/$4.console" 2>&1 || fail "backint -f $3 on $1 failed: build/shared-demo/$1/$4.console tells why"
  say "$1: backint -f $3 for $2: $(wc -l <"$1/sapbackup/$4.out") lines, the first:"
  say "  $(head -n 1 "$1/sapbackup/$4.out")"
}

korvo_on() {
  say "$1\$ korvo ${*:2}"
  "$as_host" "$1" korvo "${@:2}" >korvo.txt 2>&1 || fail "korvo $2 failed: $(tail -n 1 korvo.txt)"
  head -n 8 korvo.txt | sed 's/^/   > /'
}

# ---- The steps --------------------------------------------------------------------------------------------

rm -rf "$home"
mkdir -p "$home"
cd "$home"
title "A store for objects, a PostgreSQL server, and two machines, alpha and beta, in build/shared-demo"
start_servers
make_machine alpha 0
make_machine beta 1
korvo_on keeper init prod

title "1. Both machines back up their databases at once"
backint_on alpha DEM backup all >alpha.said &
alpha=$!
backint_on beta PRD backup all >beta.said
wait $alpha || fail "$(tail -n 1 alpha.said)"
cat alpha.said beta.said
korvo_on beta list prod

title "2. The database DEM of alpha is lost, and comes back on beta"
rm -r alpha/data
sed 's/^/#NULL /' alpha/sapbackup/all.in >beta/sapbackup/moved.in
backint_on beta DEM restore moved
diff -r alpha/original alpha/data || fail "what came back is not what was saved"
say "$(find alpha/data -type f | wc -l) files compared, every byte is as it was"

title "3. A mover of alpha is killed; what it had confirmed can be restored from beta"
head -c 300000000 /dev/urandom >alpha/large
session=$("$as_host" alpha xfr_com_interface -b open -C prod -v 2 | sed -n 's/^SESSIONID=//p')
saveset=$("$as_host" alpha xfr_com_interface -b "openjob:$session" -C prod -j J -m DAILY -s DEM___1700000000 -v 2 |
  sed -n 's/^SAVESETNAME=//p')
first=$(head -n 1 alpha/sapbackup/all.in)
"$as_host" alpha xfr -b -S prod -s "$saveset" "$first" "$home/alpha/large" 2>alpha/lines &
mover=$!
until grep -q successfully alpha/lines; do sleep 0.01; done
kill -9 $mover
wait $mover 2>/dev/null || true
sed 's/^/   > /' alpha/lines
korvo_on beta restore prod "$saveset" "$first" --to "$home/back"
cmp "back$first" "$first" || fail "the confirmed file did not come back"

title "4. A third machine thins out and checks"
korvo_on keeper expire prod --database PRD --keep-last 1 --delete
korvo_on keeper verify prod
printf '\nDEMO PASSED: %d seconds\n' $((SECONDS - started))
