#!/usr/bin/env bash
# Installs the Debian package into a root that holds what it depends on and nothing else, has its programs save and
# restore there, builds against its library, and removes it: nothing is left over.
# Usage: debian.sh PACKAGE
set -euo pipefail
here=$(realpath "$(dirname "$0")")
package=$(realpath "$1")
# Without being root, root in a name space of its own will do.
export PATH=$PATH:/usr/sbin:/sbin
[ "$(id -u)" = 0 ] || exec unshare --user --map-root-user "$here/debian.sh" "$package"
. "$here/installed.sh"

lintian --allow-root --fail-on error,warning "$package"
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
admin=$root/var/lib/dpkg
examples=$root/usr/share/doc/backint/examples

# collect DEPENDS: the packages named there and all that they need, into `needed`.
needed=()
collect() {
  local name
  for name in $(tr , '\n' <<<"$1" | sed -E 's/[|(:].*//'); do
    [[ " ${needed[*]-} " = *" $name "* ]] && continue
    needed+=("$name")
    collect "$(dpkg-query -W -f '${Pre-Depends}, ${Depends}' "$name")"
  done
}

# The machine's own copies of them, which takes no mirror; the package manager knows them there.
make_root() {
  local name
  # Where the links /lib and /lib64 lead.
  mkdir -p "$admin"/{info,updates} "$root"/usr/lib{,64}
  collect "$(dpkg-deb -f "$package" Depends)"
  for name in "${needed[@]}"; do
    { dpkg-query -s "$name" && echo; } >>"$admin/status"
    cp /var/lib/dpkg/info/"$name"{,:*}.list "$admin/info" 2>/dev/null || true
    dpkg-query -L "$name" | tar -C / --no-recursion --ignore-failed-read -cf - -T - 2>/dev/null |
      tar -C "$root" --no-same-owner -xf -
  done
  # All that the programs want of the null device is that it is empty.
  mkdir -p "$root/dev" "$root/tmp"
  touch "$root/dev/null"
}

# Whatever this machine leaves out of its own packages, and keeps a log of.
manage() { dpkg --root="$root" --log=/dev/null --path-include='*' "$@"; }
inventory() { (cd "$root" && find . -path ./var/lib/dpkg -prune -o -print | sort); }
run_backint() {
  env -i "${variables[@]}" PATH=/usr/sbin:/usr/bin chroot "$root" /usr/bin/backint "$@"
}

run_korvo() { env -i PATH=/usr/sbin:/usr/bin chroot "$root" /usr/bin/korvo "$@"; }

# completes EXPECTED WORD...: whether bash offers the word for the last of these.
completes() {
  local expected=$1
  shift
  # shellcheck disable=SC2016  # for the shell in the root
  env -i PATH=/usr/sbin:/usr/bin KORVO_CONFIG="$configuration" bash -c '
    korvo() { env -u KORVO_CONFIG chroot "$0" /usr/bin/korvo "$@"; }
    . "$0/usr/share/bash-completion/completions/korvo"
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
    _korvo
    printf "%s\n" "${COMPREPLY[@]}"' "$root" "$@" | grep -qx -- "$expected"
}

check_completion() {
  completes list korvo li
  completes prod korvo list ""
  completes --json korvo list prod --js
  completes "$(run_korvo list prod | awk 'NR == 2 { print $1 }')" korvo show prod ""
  # What a name says is never run.
  local configuration=$root/tmp/names.ini
  # shellcheck disable=SC2016
  printf '[$(>%s)]\n' "$root/tmp/was_run" >"$configuration"
  completes '.*was_run.*' korvo list ""
  [ ! -e "$root/tmp/was_run" ]
  rm "$configuration"
}

# Each timer has its service, whose command is one that korvo has; none is switched on.
check_timers() {
  local units=$root/usr/lib/systemd/system unit command
  [ "$(find "$root" -name '*.wants' | wc -l)" = 0 ]
  for unit in "$units"/korvo-*.timer; do
    command=$(sed -nE 's|^ExecStart=/usr/bin/korvo ([a-z]+) .*|\1|p' "${unit%.timer}.service")
    run_korvo "$command" --help >/dev/null
  done
  systemd-analyze verify "$units"/korvo-*.timer 2>&1 | (! grep -E 'korvo.*(Unknown|Failed to parse|Invalid)')
}

make_root
before=$(inventory)
manage --install "$package"
for tool in xfr xfr_com_interface korvo; do
  [ "$(chroot "$root" /usr/bin/$tool --version)" = "$tool (backint) $(dpkg-deb -f "$package" Version)" ]
done
# The package's own configuration does once a directory is named.
configuration=$root/etc/korvo/korvo.ini
grep -qx '/etc/korvo/korvo.ini' "$admin/info/backint.conffiles"
cp "$configuration" "$root/tmp/korvo.ini"
if run_korvo list prod 2>"$root/tmp/said"; then false; fi
grep -q '^korvo: .*korvo.ini' "$root/tmp/said"
round_trip "$root/database" /database/ "$examples" "$root/tmp/korvo.ini" "$configuration"
run_korvo list prod | grep -q ' good '
check_completion
check_timers
rm -r "$root/database" "$root/tmp/said" "$root/tmp/korvo.ini"
check_documents "$root/usr/share/doc/backint"
use_library "$root/usr" "$examples" gcc ""
manage --purge backint
diff <(echo "$before") <(inventory)
