# shellcheck shell=bash
# For the tests of the packages: what is done with an installed one. They set `here`, their own directory.

# The documents say what is true of the package: links lead somewhere, and nothing is about the sources.
check_documents() {
  # shellcheck disable=SC2154  # set by the test that reads this file
  "$here/../documents.sh" "$1"
  grep -q 'Troubleshooting' "$1/README.md"
  if grep -nE '\./run|CONTRIBUTING|source tree' "$1/README.md"; then
    return 1
  fi
}

# round_trip FOLDER NAME EXAMPLES TEMPLATE CONFIGURATION: saves files with installed programs, loses them and brings them
# back, with the package's example files, in which only the directories are replaced.
# The database is in FOLDER, which the programs know as NAME, with its separator at the end. EXAMPLES are the package's
# example files; CONFIGURATION is the backup server's, here, made of TEMPLATE. run_backint ARGUMENT... is the caller's and
# runs the program with the environment `variables`.
round_trip() {
  local folder=$1 name=$2 examples=$3 template=$4 configuration=$5 separator=${2: -1} escaped item function
  escaped=${name%?}
  escaped=${escaped//\\/\\\\}
  mkdir -p "$folder"/{Database,saptrace,sapbackup,saparch,data/tree/empty} "$(dirname "$configuration")"
  cd "$folder" || return
  head -c 3000000 /dev/urandom >data/a.dbf
  seq 50000 >"data/a blank.dbf"
  touch data/empty.dbf
  cp data/*.dbf data/tree
  cp -r data kept
  cp "$examples/initDEM.utl" Database
  sed -E "s|^#\\[prod\\]|[prod]|; 0,/^#?repository=/s|^#?repository=.*|repository=$escaped${separator//\\/\\\\}repository|" "$template" >"$configuration"
  # shellcheck disable=SC2034  # for run_backint
  mapfile -t variables < <(tr -d '\r' <"$(echo "$examples"/environment.*)" | sed -nE 's/^(export|set) //p' |
    sed -E "s#/oracle/DEM|C:\\\\oracle\\\\DEM#$escaped#")

  for item in a.dbf "a blank.dbf" empty.dbf tree; do
    echo "${name}data$separator$item"
  done >sapbackup/backup.in
  sed 's/ /%20/g; s/^/#NULL /' sapbackup/backup.in >sapbackup/restore.in
  for function in backup restore; do
    run_backint -u dem -f $function -p initDEM.utl -i $function.in -o $function.out ||
      { cat saptrace/*; false; }
    [ $function = restore ] || rm -r data
    cat sapbackup/$function.out
    [ "$(grep -cE '^#(SAVED|RESTORED) ' sapbackup/$function.out)" = 4 ]
  done
  diff -r data kept
  cd /
}

# use_library PREFIX EXAMPLES COMPILER RUNNER OPTION...: builds a project against what is below PREFIX, in C and in C++,
# and runs what it makes. RUNNER may be empty; the options are for cmake.
use_library() {
  local prefix=$1 examples=$2 compiler=$3 runner=$4 place program options
  shift 4
  place=$(mktemp -d)
  # shellcheck disable=SC2154  # set by the test that reads this file
  cmake -S "$here/../consumer" -B "$place" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" "$@"
  cmake --build "$place"
  for program in "$place"/consumer_c*; do
    [ "$($runner "$program" "$examples/korvo.ini" | tr -d '\r')" = 'D:\backup\prod' ]
  done
  # What pkg-config says is enough as well. It escapes the blanks of a path.
  options=$(PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name backint_common.pc)") pkg-config --cflags --libs backint_common)
  eval "options=($options)"
  "$compiler" -std=c11 -o "$place/by_hand.exe" "$here/../consumer/consumer.c" "${options[@]}"
  [ "$($runner "$place/by_hand.exe" "$examples/korvo.ini" | tr -d '\r')" = 'D:\backup\prod' ]
  rm -r "$place"
}
