#!/usr/bin/env bash
# exported_names.sh LIST LINUX_BUILD WINDOWS_BUILD: holds what both executables export against the list of names.
set -euo pipefail
wanted=$(LC_ALL=C sort "$1")

# Names from a library of the system bear that library's version; ours bear none, but for two.
echo "Linux:"
diff <(sed 's/^wcsl...$/&@@BACKINT_1/' <<<"$wanted") \
  <(nm -D --defined-only "$2/bin/backint" | awk '{ print $3 }' | grep -vE '@(GLIBC|GLIBCXX|CXXABI)_|^BACKINT_1$' | LC_ALL=C sort)

echo "Windows, executable and import library:"
diff <(echo "$wanted") <(x86_64-w64-mingw32-objdump -p "$3/bin/backint.exe" |
  awk '/Ordinal\/Name Pointer/ { names = 1; next } names && NF == 0 { exit } names { print $NF }' | LC_ALL=C sort)
diff <(echo "$wanted") <(x86_64-w64-mingw32-nm "$3/libbackint.dll.a" | sed -n 's/.* T //p' | LC_ALL=C sort)
