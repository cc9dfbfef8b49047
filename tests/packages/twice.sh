#!/usr/bin/env bash
# Makes the packages a second time, as if everything had been built at another time, and compares: one commit gives the
# same packages, byte for byte. Usage: twice.sh, in the project's directory, after packaging/make.sh.
set -euo pipefail
first=$(mktemp -d)
trap 'rm -rf "$first"' EXIT
cp build/packages/* "$first"
touch README.md docs/* packaging/examples/* build/linux/bin/* build/windows/bin/* build/*/packaging/*
umask 077
TZ=Asia/Tokyo packaging/make.sh
diff -r "$first" build/packages
