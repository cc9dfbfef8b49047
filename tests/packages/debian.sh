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

make_root
before=$(inventory)
manage --install "$package"
for tool in xfr xfr_com_interface; do
  [ "$(chroot "$root" /usr/bin/$tool --version)" = "$tool (backint) $(dpkg-deb -f "$package" Version)" ]
done
round_trip "$root/database" /database/ "$examples" "$root/etc/korvo/korvo.ini"
rm -r "$root/database" "$root/etc/korvo"
rmdir --ignore-fail-on-non-empty "$root/etc"
check_documents "$root/usr/share/doc/backint"
use_library "$root/usr" "$examples" gcc ""
manage --purge backint
diff <(echo "$before") <(inventory)
