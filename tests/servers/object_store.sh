#!/usr/bin/env bash
# object_store.sh DIRECTORY: runs a store that speaks the S3 protocol, Swift, on loopback addresses, with all its
# files below the directory. If they are there already, it goes on with them at the same address. Once it answers,
# DIRECTORY/ready has its endpoint, and there are a user "test:tester" with the secret "testing" and a bucket "bucket".
# It ends with the end of standard input.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"
take_place "$1"
export SWIFT_CONF_FILE=$place/swift.conf

# ---- Configuration ----

# storage_server KIND PORT: one of the three servers behind the proxy, and the ring with which it is found.
storage_server() {
  local kind=$1 port=$2
  cat >"$place/$kind.conf" <<TEXT
[DEFAULT]
bind_ip = 127.0.0.1
bind_port = $port
swift_dir = $place
devices = $place/devices
mount_check = false
workers = 1
user = $(id -un)
log_name = $kind
log_address = $place/no-log
[pipeline:main]
pipeline = $kind-server
[app:$kind-server]
use = egg:swift#$kind
TEXT
  (
    cd "$place"
    swift-ring-builder "$kind.builder" create 4 1 1
    swift-ring-builder "$kind.builder" add "r1z1-127.0.0.1:$port/d1" 1
    swift-ring-builder "$kind.builder" rebalance
  ) >"$place/$kind.ring.log"
}

write_configuration() {
  local filters="catch_errors gatekeeper healthcheck cache listing_formats s3api tempauth copy slo dlo"
  cat >"$place/swift.conf" <<TEXT
[swift-hash]
swift_hash_path_prefix = before
swift_hash_path_suffix = behind
[storage-policy:0]
name = only
default = yes
TEXT
  cat >"$place/proxy.conf" <<TEXT
[DEFAULT]
bind_ip = 127.0.0.1
bind_port = $proxy_port
swift_dir = $place
workers = 1
user = $(id -un)
log_name = proxy
log_address = $place/no-log
[pipeline:main]
pipeline = $filters proxy-server
[app:proxy-server]
use = egg:swift#proxy
account_autocreate = true
[filter:tempauth]
use = egg:swift#tempauth
user_test_tester = testing .admin
[filter:s3api]
use = egg:swift#s3api
location = us-east-1
s3_acl = false
storage_domain = localhost
[filter:cache]
use = egg:swift#memcache
memcache_servers = 127.0.0.1:$cache_port
TEXT
  local filter
  for filter in catch_errors gatekeeper healthcheck listing_formats copy slo dlo; do
    printf '[filter:%s]\nuse = egg:swift#%s\n' "$filter" "$filter" >>"$place/proxy.conf"
  done
}

# ---- Servers ----

is_ready() { make_bucket "http://127.0.0.1:$proxy_port" v1/AUTH_test; }

mkdir -p "$place/devices/d1"
again=$([ ! -s "$place/ports" ] || echo yes)
[ -n "$again" ] || free_ports 5 >"$place/ports"
read -r proxy_port account_port container_port object_port cache_port <"$place/ports"
if [ -z "$again" ]; then
  write_configuration
  storage_server account "$account_port"
  storage_server container "$container_port"
  storage_server object "$object_port"
fi
start cache memcached -l 127.0.0.1 -p "$cache_port" -U 0 -u "$(id -un)"
for kind in account container object proxy; do
  start "$kind" "swift-$kind-server" "$place/$kind.conf"
done
wait_until_ready || give_up
tell_ready "http://127.0.0.1:$proxy_port"
