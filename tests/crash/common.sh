# For the scripts beside it: what both of them do.

folder=$(cd "$(dirname "$0")" && pwd)
recording=$folder/../machines/classic_server.machine
program= module= check=

fail() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

usage() {
  sed -n 's/^#  \{0,1\}//p' "$0" | sed -n '/^usage:/,$p' >&2
  exit 2
}

require_programs() {
  [ -n "$program" ] && [ -n "$check" ] || usage
  local each
  for each in "$program" "$check" ${module:+"$module"}; do
    [ -e "$each" ] || fail "'$each' is not there"
  done
}

# make_machine FILE NUMBER: the recorded machine, of another serial number.
make_machine() {
  sed "s/NG-4471-0093/NG-$2/g" "$recording" > "$1"
}

# upload HOME MACHINE: a run with its upload; what it says is in $work/stderr.
upload() {
  "$program" ${module:+--module "$module"} --home "$1" inventory --upload --replay "$2" \
    > "$work/stdout" 2> "$work/stderr"
}

# expect_whole HOME [--clean]: everything is as it must be after an end, or after a good run.
expect_whole() {
  "$check" ${2:+"$2"} "$1" > "$work/complaints" && return
  cat "$work/complaints" >&2
  return 1
}
