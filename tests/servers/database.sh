#!/usr/bin/env bash
# database.sh DIRECTORY: runs a PostgreSQL server with all its files below the directory, which it makes unless they
# are there. Connections come through a socket in the directory; user "korvo" may do everything. Once it answers,
# DIRECTORY/ready has that directory. It ends with the end of standard input.
set -euo pipefail
mkdir -p "$1"
place=$(cd "$1" && pwd)
programs=$(find /usr/lib/postgresql -mindepth 3 -maxdepth 3 -name initdb -printf '%h\n' | sort -V | tail -n 1)
if [ -z "$programs" ]; then
  echo "PostgreSQL's programs are missing: install the package postgresql"
  exit 1
fi

# The server does not run as root: then it is the package's own user's.
as_server=()
if [ "$(id -u)" = 0 ]; then
  as_server=(setpriv --reuid=postgres --regid=postgres --clear-groups --)
  chown postgres: "$place"
fi

end_server() {
  [ -z "${server:-}" ] || kill -INT "$server" 2>/dev/null || true
  wait
}
trap end_server EXIT

# What a power failure would leave is no matter here.
cd "$place"
[ -d data ] || "${as_server[@]}" "$programs/initdb" -D "$place/data" -U korvo --auth=trust -E UTF8 --locale=C --no-sync \
  --no-instructions >"$place/initdb.log" 2>&1 </dev/null
"${as_server[@]}" "$programs/postgres" -D "$place/data" -k "$place" -c listen_addresses= -c fsync=off \
  -c max_connections=200 -c shared_buffers=32MB >"$place/server.log" 2>&1 </dev/null &
server=$!

# The server's own note says when it lets others in.
for ((tries = 0; tries < 600; ++tries)); do
  ! sed -n 8p "$place/data/postmaster.pid" 2>/dev/null | grep -q '^ready' || break
  if ! kill -0 "$server" 2>/dev/null || [ "$tries" = 599 ]; then
    echo "the database does not answer; its server says:"
    tail -n 5 "$place/server.log"
    exit 1
  fi
  sleep 0.05
done
echo "$place" >"$place/ready.new"
mv "$place/ready.new" "$place/ready"
cat >/dev/null
