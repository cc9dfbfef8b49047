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

# make_data: what a power failure would leave is no matter here.
make_data() {
  "$servers/certificates.sh" "$place" 2>certificates.log
  head -c 16 /dev/urandom | od -An -tx1 | tr -d ' \n' >password
  [ ${#as_server[@]} = 0 ] || chown postgres: password server.key
  "${as_server[@]}" "$programs/initdb" -D "$place/data" -U korvo --auth-local=trust --auth-host=scram-sha-256 \
    --pwfile="$place/password" -E UTF8 --locale=C --no-sync --no-instructions >initdb.log 2>&1 </dev/null
  (umask 077 && echo "*:*:*:korvo:$(cat password)" >pgpass)
}

servers=$(cd "${BASH_SOURCE[0]%/*}" && pwd)
cd "$place"
[ -d data ] || make_data
port=$(python3 -c 'import socket; held = socket.socket(); held.bind(("127.0.0.1", 0)); print(held.getsockname()[1])')
# By the usual name, whatever the port.
ln -sf ".s.PGSQL.$port" .s.PGSQL.5432
echo "$port" >port
"${as_server[@]}" "$programs/postgres" -D "$place/data" -k "$place" -c listen_addresses=127.0.0.1 -c port="$port" \
  -c ssl=on -c ssl_cert_file="$place/server.pem" -c ssl_key_file="$place/server.key" -c fsync=off \
  -c max_connections=200 -c shared_buffers=32MB >server.log 2>&1 </dev/null &
server=$!

# The server's own note says when it lets others in.
for ((tries = 0; tries < 600; ++tries)); do
  # That of a server which was killed says so too.
  if [ "$(sed -n 1p "$place/data/postmaster.pid" 2>/dev/null)" = "$server" ]; then
    ! sed -n 8p "$place/data/postmaster.pid" | grep -q '^ready' || break
  fi
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
