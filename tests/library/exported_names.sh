#!/usr/bin/env bash
# exported_names.sh LIST LINUX_BUILD WINDOWS_BUILD: compares what both executables export with the list of names, and
# has a module that uses the library's header loaded into the Linux one.
set -euo pipefail
wanted=$(LC_ALL=C sort "$1")

# Names from a library of the system have that library's version; ours have none, but for two. What the header makes of
# those two is exported as well.
echo "Linux:"
# shellcheck disable=SC2001  # one name becomes two lines
diff <(sed 's/^wcsl...$/cm_&\n&@@BACKINT_1/' <<<"$wanted" | LC_ALL=C sort) \
  <(nm -D --defined-only "$2/bin/backint" | awk '{ print $3 }' | grep -vE '@(GLIBC|GLIBCXX|CXXABI)_|^BACKINT_1$' | LC_ALL=C sort)

echo "Windows, executable and import library:"
diff <(echo "$wanted") <(x86_64-w64-mingw32-objdump -p "$3/bin/backint.exe" |
  awk '/Ordinal\/Name Pointer/ { names = 1; next } names && NF == 0 { exit } names { print $NF }' | LC_ALL=C sort)
diff <(echo "$wanted") <(x86_64-w64-mingw32-nm "$3/libbackint.dll.a" | sed -n 's/.* T //p' | LC_ALL=C sort)

echo "Linux, a module in the program's process:"
module=$(mktemp --suffix .so)
trap 'rm -f "$module"' EXIT
gcc -std=c11 -shared -fPIC -I"$(dirname "$1")/.." -o "$module" "$(dirname "$0")/module.c"
{ LD_BIND_NOW=1 LD_PRELOAD=$module "$2/bin/backint" -x 2>&1 || true; } | grep '^module: a/b 5 16$'
