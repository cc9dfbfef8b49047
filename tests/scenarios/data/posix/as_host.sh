#!/usr/bin/env bash
# as_host.sh NAME COMMAND...: the command as it would run on another machine: with a host name of its own, and with the
# user's state in the directory state/NAME.
set -euo pipefail
export XDG_STATE_HOME=$PWD/state/$1
rights=()
[ "$(/usr/bin/id -u)" = 0 ] || rights=(--user --map-root-user)
# shellcheck disable=SC2016  # the inner shell's
exec /usr/bin/unshare "${rights[@]}" --uts /bin/sh -c '/bin/hostname "$0" && exec "$@"' "$@"
