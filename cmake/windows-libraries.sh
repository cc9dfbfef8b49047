#!/usr/bin/env bash
# Makes the libraries of the embedded server for the Windows build, from Debian's source packages:
# build/windows-libraries/include and lib. A second call does nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

target=x86_64-w64-mingw32
place=$PWD/build/windows-libraries
work=$place/work
packages=(sqlite3 libzstd xxhash libsodium nettle curl expat)
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

for program in apt-get dpkg-source tclsh make m4 autoreconf libtoolize cc $target-gcc-posix; do
  command -v "$program" >/dev/null && continue
  echo "$program is missing: apt-get install --no-install-recommends autoconf automake dpkg-dev g++-mingw-w64-x86-64-posix gcc libtool m4 make tcl"
  exit 1
done
if [ ! -d /usr/include/CLI ]; then
  echo "The headers of CLI11 are missing: apt-get install --no-install-recommends libcli11-dev"
  exit 1
fi

state=$(cat "${BASH_SOURCE[0]}" <($target-gcc-posix --version) | sha256sum)
[ "$(cat "$place/made" 2>/dev/null)" = "$state" ] && exit 0

# ---- Sources ------------------------------------------------------------------------------------------------

# The machine's package lists and their configuration stay as they are: these have a place of their own.
apt_options=(
  -o Dir::Etc::sourcelist="$work/sources.list"
  -o Dir::Etc::sourceparts=-
  -o Dir::State::lists="$work/lists"
  -o Dir::Cache="$work/cache"
)

# The mirrors that this machine has its packages from, asked for sources. The release itself comes first: a version
# that the security archive has too may be gone from there.
write_source_list() {
  local release
  # shellcheck source=/dev/null
  release=$(. /etc/os-release && echo "$VERSION_CODENAME")
  # shellcheck disable=SC2016  # apt-get fills these in
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' | sort -u -k2 -k1 |
    awk -v release="$release" -v keyring="$keyring" '
      $3 == "main" && ($2 == release || $2 == release "-updates" || $2 == release "-security") {
        print "deb-src [signed-by=" keyring "] " $1, $2, $3
      }' >"$work/sources.list"
  if [ ! -s "$work/sources.list" ]; then
    echo "None of this machine's package sources is a mirror of Debian $release main"
    exit 1
  fi
}

# The newest version that is there: a mirror may name one that it has no longer.
fetch_source() {
  local version
  for version in $(apt-cache "${apt_options[@]}" madison "$1" | awk '{ print $3 }' | sort -uVr); do
    apt-get "${apt_options[@]}" source --download-only --only-source "$1=$version" && return 0
    rm -f "$1"_*
  done
  return 1
}

fetch_sources() {
  mkdir -p "$work"/{lists/partial,cache/archives/partial,sources}
  write_source_list
  apt-get "${apt_options[@]}" update -o APT::Update::Error-Mode=any
  # apt holds each file against the signed index. That dpkg-source cannot check the uploader's own signature
  # as well, for want of that person's key, is only a warning.
  local package
  for package in "${packages[@]}"; do
    (cd "$work/sources" && fetch_source "$package")
    dpkg-source --no-copy -x "$work/sources/${package}_"*.dsc "$work/$package"
  done
}

# ---- Libraries ----------------------------------------------------------------------------------------------

# compile NAME FLAGS... -- SOURCE...: a static library.
compile() {
  local name=$1 flags=() objects=$work/objects/$1
  shift
  while [ "$1" != -- ]; do
    flags+=("$1")
    shift
  done
  shift
  mkdir -p "$objects"
  # shellcheck disable=SC2016  # for the shell that xargs starts
  printf '%s\n' "$@" | xargs -P "$(nproc)" -I{} sh -c \
    'objects=$1 source=$2; shift 2; "$@" -c "$source" -o "$objects/$(basename "$source" .c).o"' \
    _ "$objects" {} $target-gcc-posix -O2 "${flags[@]}"
  $target-ar rcs "$place/lib/lib$name.a" "$objects"/*.o
}

make_sqlite() {
  mkdir -p "$work/sqlite-single"
  # The single source file comes out of a build for this machine, which takes no path with a blank.
  (cd "$work/sqlite-single" && ../sqlite3/configure --disable-tcl --disable-readline && make TOP=../sqlite3 sqlite3.c sqlite3.h)
  compile sqlite3 -DSQLITE_THREADSAFE=1 -DSQLITE_OMIT_LOAD_EXTENSION -- "$work/sqlite-single/sqlite3.c"
  cp "$work/sqlite-single/sqlite3.h" "$place/include"
}

make_zstd() {
  # Its copy of the hash gets names of its own, so that it does not meet the other one.
  compile zstd -DXXH_NAMESPACE=ZSTD_ -DZSTD_DISABLE_ASM -- "$work"/libzstd/lib/{common,compress,decompress}/*.c
  cp "$work"/libzstd/lib/{zstd,zstd_errors}.h "$place/include"
}

make_xxhash() {
  compile xxhash -- "$work/xxhash/xxhash.c"
  cp "$work"/xxhash/{xxhash,xxh3}.h "$place/include"
}

# configured NAME OPTION...: copies a source, with its times, to a path without blanks, goes there and configures it.
configured() {
  local name=$1
  shift
  cp -a "$work/$name" "$plain/$name"
  cd "$plain/$name"
  # Two of them have to make their configuration first.
  case $name in libsodium | expat) autoreconf -fi >&2 ;; esac
  ./configure --host=$target --prefix="$plain/installed" --libdir="$plain/installed/lib" \
    --disable-shared --enable-static CC=$target-gcc-posix CFLAGS=-O2 "$@" >&2
}

make_sodium() {
  (
    configured libsodium --disable-ssp
    make -j "$(nproc)" install-data install-exec
  )
  cp "$plain/installed/lib/libsodium.a" "$place/lib"
  cp -r "$plain"/installed/include/sodium{,.h} "$place/include"
}

# Only its hashes and ciphers are needed; `fat` picks the processor's own instructions where it has them.
make_nettle() {
  (
    configured nettle --enable-fat --disable-public-key --disable-openssl --disable-documentation
    make -j "$(nproc)" libnettle.a
    mkdir -p "$place/include/nettle"
    cp {aes,camellia,gcm,memxor,nettle-types,sha2,version}.h "$place/include/nettle"
    cp libnettle.a "$place/lib"
  )
}

# HTTP and nothing else, with the system's own TLS and certificates.
make_curl() {
  local without
  mapfile -t without < <(printf -- '--disable-%s\n' ldap ldaps manual dict file ftp gopher imap mqtt pop3 rtsp smb smtp \
    telnet tftp && printf -- '--without-%s\n' zlib brotli zstd libpsl nghttp2 libidn2 librtmp libssh2)
  (
    configured curl --with-schannel "${without[@]}"
    make -j "$(nproc)" -C lib install
    make -C include install
  )
  cp "$plain/installed/lib/libcurl.a" "$place/lib"
  cp -r "$plain/installed/include/curl" "$place/include"
}

make_expat() {
  # Its folder has the sources in one of their own.
  [ ! -d "$work/expat/expat" ] || { mv "$work/expat" "$work/expat.all" && mv "$work/expat.all/expat" "$work/expat"; }
  (
    configured expat --without-xmlwf --without-examples --without-tests --without-docbook
    make -j "$(nproc)" -C lib install
  )
  cp "$plain/installed/lib/libexpat.a" "$place/lib"
  cp "$plain"/installed/include/expat{,_config,_external}.h "$place/include"
}

# Headers alone, the same on every system.
copy_cli11() {
  cp -r /usr/include/CLI "$place/include"
}

plain=$(mktemp -d)
trap 'rm -rf "$plain"' EXIT
rm -rf "$place"
mkdir -p "$place"/{include,lib}
fetch_sources
# Two at a time: most of it is configuring, which uses one processor.
(
  make_curl
  make_sqlite
  make_zstd
) &
others=$!
make_sodium
make_nettle
make_expat
make_xxhash
copy_cli11
wait "$others"
rm -rf "$work"
echo "$state" >"$place/made"
