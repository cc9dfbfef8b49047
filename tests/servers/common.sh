# What the scripts have in common that run a store of objects out of several servers. They end with the end of
# standard input.
servers=()

end_servers() {
  [ ${#servers[@]} = 0 ] || kill "${servers[@]}" 2>/dev/null || true
  wait
}

# take_place DIRECTORY: everything is below it.
take_place() {
  mkdir -p "$1"
  place=$(cd "$1" && pwd)
  trap end_servers EXIT
}

# free_ports NUMBER: ports that the system gives, all different.
free_ports() {
  python3 - "$1" <<'PYTHON'
import socket, sys
held = [socket.socket() for _ in range(int(sys.argv[1]))]
for one in held:
    one.bind(("127.0.0.1", 0))
print(*(one.getsockname()[1] for one in held))
PYTHON
}

# start NAME COMMAND...
start() {
  local name=$1
  shift
  "$@" >"$place/$name.log" 2>&1 </dev/null &
  servers+=($!)
}

# make_bucket SERVER PATH: by the protocol that needs no signature, if the server answers.
make_bucket() {
  local token
  token=$(curl --silent --fail --noproxy '*' --max-time 5 --dump-header - --output /dev/null "$1/auth/v1.0" \
    --header "X-Auth-User: test:tester" --header "X-Auth-Key: testing" |
    tr -d '\r' | sed -n 's/^x-auth-token: //Ip') && [ -n "$token" ] &&
    curl --silent --fail --noproxy '*' --max-time 5 --output /dev/null --request PUT \
      --header "X-Auth-Token: $token" "$1/$2/bucket"
}

# Until `is_ready` of the script is content.
wait_until_ready() {
  local tries server
  for ((tries = 0; tries < 600; ++tries)); do
    is_ready && return 0
    for server in "${servers[@]}"; do
      kill -0 "$server" 2>/dev/null || return 1
    done
    sleep 0.2
  done
  return 1
}

give_up() {
  echo "the object store does not answer; its servers say:"
  tail -n 5 "$place"/*.log
  exit 1
}

# tell_ready ENDPOINT: and waits.
tell_ready() {
  echo "$1" >"$place/ready.new"
  mv "$place/ready.new" "$place/ready"
  cat >/dev/null
}
