#!/usr/bin/env bash
# Makes the Debian package and the Windows zip in build/packages from what the presets linux and windows have built.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
place=$PWD/build/packages

# The time in the packages is the commit's, in one zone, so that one commit gives one package.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)} TZ=UTC

# Directories in a package have the access that they get here.
umask 022
rm -rf "$place"
cpack --config build/linux/CPackConfig.cmake -G DEB -B "$place"
cpack --config build/windows/CPackConfig.cmake -G ZIP -B "$place"
rm -r "$place/_CPack_Packages"
