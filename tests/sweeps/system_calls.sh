#!/usr/bin/env bash
# Whole runs in which one system call of the program fails, or a signal comes with it: each call in turn.
#
# system_calls.sh BUILD_DIRECTORY [STEP]: every STEPth call of each story (1: all of them). Whatever happens,
#   - the run ends by itself, with status 0 or 2, and status 0 only with a line for every item;
#   - no item has two lines, and no line is torn;
#   - a job and a session that were opened are closed once, as long as the tool can be started and heard;
#   - a database that was told #BEGIN is told #END;
#   - no list, marker or spooled input is left, but where its removal is the call that failed.
set -euo pipefail

build=$(cd "$1" && pwd)
step=${2:-1}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
runs=0
bad=0

# The calls that cannot fail in a way that a program could see, those that only the loader and the allocator make,
# and `close`, which on this system closes whatever it returns.
never_fails='exit_group|execve|brk|mmap|munmap|mprotect|madvise|rt_sig[a-z]*|getpid|getuid|geteuid|getgid|gettid|clock_[a-z]*|close|futex|prlimit64|set_[a-z_]*|rseq|arch_prctl|sched_[a-z]*|restart_syscall'

# The calls without which a tool cannot be started or heard.
conversation='read|poll|pipe2|vfork|clone|clone3|newfstatat|stat|access|faccessat|faccessat2|openat'

# The calls without which BRBACKUP cannot be asked.
exchange='write|unlink|fcntl|lseek'

complain() {
  bad=$((bad + 1))
  [ "$bad" -gt 10 ] || printf '%s: %s\n' "$1" "$2"
}

# prepare: a directory in which a story can run.
prepare() {
  rm -rf "$work/run"
  mkdir -p "$work"/run/{home/saptrace,oracle/Database,sapbackup,saparch,data/dir/sub,out}
  cd "$work/run"
  printf 'KORVO_%s\n' SERVER=srv JOB=job POOL=pool RAW_UTIL=raw >par.txt
  printf 'XFR=xfr\nXFR_COM_INTERFACE=xfr_com_interface\n' >>par.txt
  echo a >data/a.dbf
  echo b >'data/two words.dbf'
  echo c >data/dir/c
  echo d >data/one.log
  echo e >data/two.log
  : >script.txt
  : >out/result.lis
  : >heard
}

# answer_switches: BRBACKUP's side of an online backup, until the run is over: each list that comes is heard, and the
# database was switched for all of it.
answer_switches() {
  while [ ! -e over ]; do
    if [ -e sapbackup/.switch.sem ]; then
      cat sapbackup/.switch.lis >>heard
      sed 's/^#[A-Z]* /#SUCCESS /' sapbackup/.switch.lis >sapbackup/.switch.log
      rm -f sapbackup/.switch.lis sapbackup/.switch.sem
    fi
    sleep 0.02
  done
}

# run_story STORY [STRACE OPTION...]: one run; its exit status is that of the program.
run_story() {
  local story=$1
  shift
  local function=${story%%_*} input=in.lis peer='' status=0 options=()
  case $story in
    backup_log) printf 'data\\one.log\ndata\\two.log\n' >in.lis ;;
    backup_online)
      printf 'data\\a.dbf\ndata\\two words.dbf\n' >in.lis
      options=(-t file_online)
      answer_switches &
      peer=$!
      ;;
    backup) printf 'data\\a.dbf\ndata\\two words.dbf\n' >in.lis ;;
    backup_first_level) printf 'data\\dir\n' >in.lis ;;
    backup_spooled) printf 'data\\a.dbf\ndata\\two words.dbf\n' >in.lis && input=STDIN ;;
    restore) printf 'SET1 data\\a.dbf\nSET1 data\\b.dbf\n' >in.lis ;;
    inquire)
      printf '#NULL data\\a.dbf\n#NULL data\\b.dbf\n' >in.lis
      printf 'on query 1\nreply=OK\nsavesetname=SET1\non query 2\nreply=OK\nsavesetname=SET1\n' >script.txt
      ;;
  esac
  env -i PATH="$build/scripted:/usr/bin:/bin" BI_CALLER=BRBACKUP BI_BACKUP=FULL BI_REQUEST=NEW ORACLE_HOME=oracle \
    SAPDATA_HOME=home SAPBACKUP=sapbackup SAPARCH=saparch ORACLE_SID=ABC SCRIPT=script.txt \
    timeout 60 strace -qq -o "$work/log" "$@" "$build/bin/backint" -u sap -p par.txt -i "$input" -o out/result.lis \
    -f "$function" "${options[@]}" <in.lis >stdout 2>stderr || status=$?
  : >over
  [ -z "$peer" ] || wait "$peer"
  return "$status"
}

# The items of a story, a line each, as its result lines name them.
items_of() {
  case $1 in
    backup_first_level) printf 'data\\dir\n' ;;
    backup_log) printf 'data\\one.log\ndata\\two.log\n' ;;
    restore | inquire) printf 'data\\a.dbf\ndata\\b.dbf\n' ;;
    *) printf 'data\\a.dbf\ndata\\two words.dbf\n' ;;
  esac
}

calls_of() {
  : >>script.txt.calls
  grep -c -- "^xfr_com_interface -b $1[: ]" script.txt.calls || true
}

# judge STORY WHAT STATUS CALL KIND
judge() {
  local story=$1 what="$1, $2" status=$3 call=$4 kind=$5 item lines
  [ "$status" = 0 ] || [ "$status" = 2 ] || complain "$what" "exit status $status"
  while read -r item; do
    lines=$(grep -cE "^#(SAVED|RESTORED|BACKUP|NOTFOUND|ERROR)( SET[0-9]+)? ${item//\\/\\\\}\$" out/result.lis || true)
    [ "$lines" -le 1 ] || complain "$what" "$lines lines for $item"
    [ "$status" != 0 ] || [ "$lines" = 1 ] || complain "$what" "status 0 without a line for $item"
  done < <(items_of "$story")
  lines=$(items_of "$story" | sed 's/[\\.]/\\&/g; s/.*/^#[A-Z]+( SET[0-9]+)? &$/' | grep -vEf - out/result.lis || true)
  [ -z "$lines" ] || complain "$what" "a torn line, or one of no item: $lines"
  # A tool that could not be started or heard was not told, or did not tell.
  local opened closed pair
  for pair in open:close openjob:closejob; do
    opened=$(calls_of "${pair%:*}")
    closed=$(calls_of "${pair#*:}")
    if [ "$closed" -gt "$opened" ]; then
      complain "$what" "$opened times ${pair%:*}, $closed times ${pair#*:}"
    elif [ "$closed" -lt "$opened" ]; then
      if [ "$kind" != fails ] || [[ ! $call =~ ^($conversation)$ ]]; then
        complain "$what" "$opened times ${pair%:*}, $closed times ${pair#*:}"
      fi
    fi
  done
  # The database leaves its backup state as often as it entered it. Only a failure of the exchange itself may cost that.
  if [ "$kind" != fails ] || [[ ! $call =~ ^($conversation|$exchange)$ ]]; then
    opened=$(grep -c '^#BEGIN' heard || true)
    closed=$(grep -c '^#END' heard || true)
    [ "$opened" = "$closed" ] || complain "$what" "$opened times #BEGIN, $closed times #END"
  fi
  if [ "$kind" != fails ] || [[ ! $call =~ ^(unlink|newfstatat|stat|fcntl)$ ]]; then
    lines=$(find home/saptrace data sapbackup \( -name 'filelist*' -o -name 'newinput*' -o -name 'backint_??????' \
      -o -name '*korvo.dir*' -o -name '.switch*' \) -print)
    # A list without its semaphore stays: nobody else may take its place before somebody has looked.
    [ "$kind" != fails ] || [ "$lines" != sapbackup/.switch.lis ] || [ "$call" != openat ] || lines=
    [ -z "$lines" ] || complain "$what" "left behind: $lines"
  fi
}

# Each call of the story, from the first that the program itself makes: its name, which of that name it is, and
# whether interrupts are watched by then. A signal before that ends the run as it ends any program.
list_calls() {
  awk '{ name = $0; sub(/\(.*/, "", name); if (name !~ /^[a-z_0-9]+$/) next; ++count[name] }
       /rt_sigaction\(SIGPIPE/ { begun = 1 }
       begun { print name, count[name], watched ? "watched" : "unwatched" }
       /rt_sigaction\(SIGTERM, \{sa_handler=0x/ { watched = 1 }' "$work/log"
}

# A disk fails any call, and is full for those that take room.
errors_of() {
  case $1 in
    openat | write | pwrite64 | writev | mkdir | rename | ftruncate | fsync | fdatasync) echo EIO ENOSPC ;;
    *) echo EIO ;;
  esac
}

sweep() {
  local story=$1 name number watched status error turn=0 calls=$work/calls
  prepare
  status=0
  run_story "$story" || status=$?
  judge "$story" "untouched" "$status" none none
  [ "$status" = 0 ] || { complain "$story" "does not run at all"; cat stdout stderr; return; }
  list_calls >"$calls"
  [ "$(wc -l <"$calls")" -gt 50 ] || complain "$story" "only $(wc -l <"$calls") calls seen"
  while read -r name number watched; do
    turn=$((turn + 1))
    [ $((turn % step)) = 0 ] || continue
    if [[ ! $name =~ ^($never_fails)$ ]]; then
      for error in $(errors_of "$name"); do
        prepare
        status=0
        run_story "$story" -e "inject=$name:error=$error:when=$number" || status=$?
        judge "$story" "$name $number fails with $error" "$status" "$name" fails
        runs=$((runs + 1))
      done
    fi
    if [ "$watched" != watched ] || [ "$name" = exit_group ]; then
      continue
    fi
    prepare
    status=0
    run_story "$story" -e "inject=$name:signal=SIGTERM:when=$number" || status=$?
    judge "$story" "SIGTERM at $name $number" "$status" "$name" signal
    runs=$((runs + 1))
  done <"$calls"
}

# STORIES in the environment names some of them. They run side by side: most of the time they wait.
read -ra stories <<<"${STORIES:-backup backup_first_level backup_spooled backup_log backup_online restore inquire}"
all=$work
every=$step
for story in "${stories[@]}"; do
  (
    work=$all/$story
    mkdir "$work"
    # An online run waits for seconds: fewer of them have to do.
    [ "$story" != backup_online ] || step=$((every * 8))
    sweep "$story"
    echo "$runs $bad" >"$work/count"
  ) &
done
wait
for story in "${stories[@]}"; do
  # Without a count it did not come to its end.
  read -r some wrong <"$all/$story/count" || { some=0 wrong=1 && echo "$story: broken off"; }
  runs=$((runs + some))
  bad=$((bad + wrong))
done
echo "$runs runs, $bad bad"
[ "$bad" = 0 ] && [ "$runs" -gt 0 ]
