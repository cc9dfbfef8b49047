#!/usr/bin/env bash
# radosgw.sh DIRECTORY: as object_store.sh, but the store is radosgw, which can refuse to replace an object. It keeps
# everything in memory, so each start is a new one.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=tests/servers/common.sh
source "$here/common.sh"
take_place "$1"
export CEPH_CONF=$place/ceph.conf

write_configuration() {
  cat >"$CEPH_CONF" <<TEXT
[global]
fsid = $(cat /proc/sys/kernel/random/uuid)
mon host = v1:127.0.0.1:$mon_port
public addr = 127.0.0.1
ms bind msgr2 = false
auth cluster required = none
auth service required = none
auth client required = none
keyring = $place/no-keyring
run dir = $place
admin socket = $place/\$name.asok
log file = $place/\$name.log
crash dir = $place
mon data = $place/mon
mon allow pool size one = true
mgr data = $place/mgr
osd data = $place/osd
osd objectstore = memstore
memstore device bytes = 8G
osd crush chooseleaf type = 0
osd pool default size = 1
osd pool default pg num = 8
rgw data = $place/rgw
rgw frontends = beast endpoint=127.0.0.1:$port
TEXT
}

make_monitor() {
  monmaptool --create --fsid "$(sed -n 's/^fsid = //p' "$CEPH_CONF")" --addv a "[v1:127.0.0.1:$mon_port]" \
    "$place/monmap"
  ceph-mon -i a --mkfs --monmap "$place/monmap"
}

# It gives itself its name.
make_disk() { ceph-osd -i 0 --mkfs && timeout 60 ceph osd new "$(cat "$place/osd/fsid")"; }

# Lets the user in, by the second protocol too, by which is_ready makes the bucket.
make_user() {
  timeout 120 radosgw-admin user create --uid test --display-name test --access-key test:tester --secret testing &&
    timeout 60 radosgw-admin subuser create --uid test --subuser test:tester --access full --key-type swift \
      --secret testing
}

is_ready() { make_bucket "http://127.0.0.1:$port" swift/v1; }

read -r port mon_port <<<"$(free_ports 2)"
mkdir -p "$place"/{mon,mgr,osd,rgw}
write_configuration
{
  make_monitor
  start mon ceph-mon -i a -f
  start mgr ceph-mgr -i a -f
  make_disk
  start osd ceph-osd -i 0 -f
  make_user
} >"$place/made.log" 2>&1 || give_up
start radosgw radosgw -n client.rgw -f
wait_until_ready || give_up
tell_ready "http://127.0.0.1:$port"
