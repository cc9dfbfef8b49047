#!/usr/bin/env bash
# Makes the libraries of the embedded server for the Windows build, from Debian's source packages:
# build/windows-libraries/include and lib. A second call does nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

target=x86_64-w64-mingw32
place=$PWD/build/windows-libraries
work=$place/work
packages=(sqlite3 libzstd libsodium nettle curl expat postgresql-15)
keyring=/usr/share/keyrings/debian-archive-keyring.gpg

for program in apt-get dpkg-source tclsh make m4 cc $target-gcc-posix; do
  command -v "$program" >/dev/null && continue
  echo "$program is missing: apt-get install --no-install-recommends dpkg-dev g++-mingw-w64-x86-64-posix gcc m4 make tcl"
  exit 1
done
if [ ! -d /usr/include/CLI ] || [ ! -f /usr/include/xxh3.h ]; then
  echo "The headers of CLI11 or xxHash are missing: apt-get install --no-install-recommends libcli11-dev libxxhash-dev"
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
  compile zstd -DZSTD_DISABLE_ASM -- "$work"/libzstd/lib/{common,compress,decompress}/*.c
  cp "$work"/libzstd/lib/{zstd,zstd_errors}.h "$place/include"
}

# The processor's own instructions are used where it has them: the library asks it.
make_sodium() {
  local headers=$work/libsodium/src/libsodium/include sources instructions
  cp "$work/libsodium/builds/msvc/version.h" "$headers/sodium"
  mapfile -t sources < <(find "$work/libsodium/src" -name '*.c')
  mapfile -t instructions < <(printf -- '-DHAVE_%sINTRIN_H=1\n' MM EMM PMM TMM SMM AVX AVX2 WMM)
  compile sodium -DSODIUM_STATIC -DCONFIGURED=1 -DNATIVE_LITTLE_ENDIAN=1 -DTLS=_Thread_local -DHAVE_TI_MODE=1 \
    -DHAVE_CPUID=1 "${instructions[@]}" -I"$headers" -I"$headers/sodium" -- "${sources[@]}"
  cp -r "$headers"/sodium{,.h} "$place/include"
}

# Only its hashes and ciphers are needed; `fat` picks the processor's own instructions where it has them.
make_nettle() {
  # It takes no path with a blank.
  local plain
  plain=$(mktemp -d)
  cp -a "$work/nettle" "$plain"
  (
    cd "$plain/nettle"
    ./configure --host=$target --enable-fat --disable-public-key --disable-openssl --disable-documentation \
      CC=$target-gcc-posix CFLAGS=-O2 >&2
    make -j "$(nproc)" libnettle.a
    mkdir -p "$place/include/nettle"
    cp {aes,camellia,gcm,memxor,nettle-types,sha2,version}.h "$place/include/nettle"
    cp libnettle.a "$place/lib"
  )
  rm -rf "$plain"
}

# HTTP and nothing else, with the system's own TLS and certificates.
make_curl() {
  local root=$work/curl
  compile curl -DBUILDING_LIBCURL -DCURL_STATICLIB -DHTTP_ONLY -DUSE_SCHANNEL -DUSE_WINDOWS_SSPI -DENABLE_IPV6 \
    -D_WIN32_WINNT=0x0601 -I"$root/include" -I"$root/lib" -- "$root"/lib/{,vauth/,vtls/,vquic/,vssh/}*.c
  cp -r "$root/include/curl" "$place/include"
}

make_expat() {
  # Debian's source has the library in a folder of its own.
  local root=$work/expat/expat/lib
  printf '#define %s\n' 'BYTEORDER 1234' 'XML_CONTEXT_BYTES 1024' 'XML_DTD 1' 'XML_GE 1' 'XML_NS 1' >"$root/expat_config.h"
  compile expat -DXML_STATIC -I"$root" -- "$root"/xml{parse,role,tok}.c
  cp "$root"/expat{,_external}.h "$place/include"
}

# What its own configuration would find out of this system.
describe_windows_to_pq() {
  local version=$1
  printf '#define HAVE_%s 1\n' DECL_STRNLEN DECL_STRTOLL DECL_STRTOULL FUNCNAME__FUNC GETTIMEOFDAY INTTYPES_H IPV6 \
    LOCALE_T LONG_LONG_INT_64 MEMORY_H SOCKLEN_T STDBOOL_H STDINT_H STDLIB_H STRINGS_H STRING_H STRNLEN STRTOF STRTOLL \
    STRTOULL STRUCT_ADDRINFO STRUCT_SOCKADDR_STORAGE STRUCT_SOCKADDR_STORAGE_SS_FAMILY SYS_STAT_H SYS_TYPES_H UNISTD_H \
    WCTYPE_H
  printf '#define HAVE_DECL_%s 0\n' STRCHRNUL STRLCAT STRLCPY
  printf '#define ALIGNOF_%s\n' 'DOUBLE 8' 'INT 4' 'LONG 4' 'LONG_LONG_INT 8' 'SHORT 2'
  printf '#define SIZEOF_%s\n' 'BOOL 1' 'LONG 4' 'SIZE_T 8' 'VOID_P 8'
  printf '#define %s\n' 'BLCKSZ 8192' 'DEF_PGPORT 5432' 'DEF_PGPORT_STR "5432"' 'DLSUFFIX ".dll"' 'ENABLE_THREAD_SAFETY 1' \
    'INT64_MODIFIER "ll"' 'MAXIMUM_ALIGNOF 8' 'MEMSET_LOOP_LIMIT 1024' 'PG_INT64_TYPE long long int' \
    'PG_KRB_SRVNAM "postgres"' 'PG_USE_STDBOOL 1' 'RELSEG_SIZE 131072' 'STDC_HEADERS 1' 'XLOG_BLCKSZ 8192' \
    'pg_restrict __restrict' "PACKAGE_VERSION \"$version\"" "PG_MAJORVERSION \"${version%.*}\"" "PG_VERSION \"$version\"" \
    "PG_VERSION_NUM $((${version%.*} * 10000 + ${version#*.}))" "PG_VERSION_STR \"PostgreSQL $version\""
}

# The client alone, without TLS: for that it would need a further library.
make_pq() {
  local root=$work/postgresql-15/src version name threads=()
  # It has a few of these functions of its own, for types of its own: under other names, beside the compiler's.
  for name in pthread_{mutex_{init,lock,unlock},getspecific,setspecific,self}; do
    threads+=("-D$name=pq_$name")
  done
  version=$(sed -n "s/^PACKAGE_VERSION='\(.*\)'/\1/p" "$work/postgresql-15/configure")
  describe_windows_to_pq "$version" >"$root/include/pg_config.h"
  echo '#define PG_INT64_TYPE long long int' >"$root/include/pg_config_ext.h"
  echo '#include "port/win32.h"' >"$root/include/pg_config_os.h"
  printf '#define %s "/"\n' {PGBIN,PGSHARE,SYSCONF,INCLUDE,PKGINCLUDE,LIB,PKGLIB,LOCALE,DOC,HTML,MAN}DIR \
    INCLUDEDIRSERVER >"$root/include/pg_config_paths.h"
  compile pq -DFRONTEND -DUNSAFE_STAT_OK -D_WIN32_WINNT=0x0601 "${threads[@]}" \
    -I"$root"/{include,include/port/win32,interfaces/libpq,port} -- \
    "$root"/interfaces/libpq/{fe-{auth,auth-scram,connect,exec,lobj,misc,print,protocol3,secure,trace},legacy-pqsignal}.c \
    "$root"/interfaces/libpq/{libpq-events,pqexpbuffer,pthread-win32,win32}.c \
    "$root"/common/{base64,cryptohash,encnames,hmac,ip,link-canary,md5,md5_common,saslprep,scram-common,sha1,sha2}.c \
    "$root"/common/{string,stringinfo,unicode_norm,wchar}.c \
    "$root"/port/{chklocale,dirmod,explicit_bzero,getaddrinfo,getpeereid,inet_aton,inet_net_ntop,noblock,open,path}.c \
    "$root"/port/{pg_strong_random,pgsleep,pgstrcasecmp,pqsignal,snprintf,strerror,strlcat,strlcpy,system,thread}.c \
    "$root"/port/{timingsafe_bcmp,win32common,win32error,win32ntdll,win32setlocale,win32stat}.c
  cp "$root"/interfaces/libpq/libpq-fe.h "$root"/include/{postgres_ext,pg_config_ext}.h "$place/include"
}

# Headers alone, the same on every system.
copy_headers() {
  cp -r /usr/include/CLI /usr/include/{xxhash,xxh3}.h "$place/include"
}

rm -rf "$place"
mkdir -p "$place"/{include,lib}
fetch_sources
# Besides the rest: most of it is configuring, which uses one processor.
make_nettle &
nettle=$!
make_sqlite
make_zstd
make_sodium
make_curl
make_expat
make_pq
copy_headers
wait "$nettle"
rm -rf "$work"
echo "$state" >"$place/made"
