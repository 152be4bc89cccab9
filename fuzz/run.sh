#!/bin/bash
# Runs fuzzers, and sums up what they did.
#   fuzz/run.sh [--seconds N] [--idle] [--dir DIR] [TARGET...]   N seconds for each target (default 60)
#   fuzz/run.sh --sum [--dir DIR] [TARGET...]                    sums up runs, also such as go on
# Without targets, all that were built, one after the other; run several commands beside each other
# to use several cores. What a run learns stays in DIR/TARGET/corpus (DIR is build/fuzz-runs unless
# given), inputs that fail go to DIR/TARGET/findings and end the command with status 1 after all
# targets have had their time. With --idle, runs take what nobody else needs of the processor.
set -euo pipefail
source=$(cd "$(dirname "$0")/.." && pwd)
build=${KS_FUZZ_BUILD:-$source/build/fuzz}
dir=$source/build/fuzz-runs
seconds=60
idle=
timeout=60 # seconds on the clock, of which an idle process may get few
sum=
targets=()
while [ $# -gt 0 ]; do
  case $1 in
    --seconds) seconds=$2; shift ;;
    --dir) dir=$2; shift ;;
    --idle) idle="chrt --idle 0"; timeout=1800 ;;
    --sum) sum=yes ;;
    -*) sed -n '2,9s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
    *) targets+=("$1") ;;
  esac
  shift
done
if [ ${#targets[@]} -eq 0 ]; then
  for target in text calls customizer model; do
    [ -x "$build/fuzz/fuzz_$target" ] && targets+=("$target")
  done
fi
[ ${#targets[@]} -gt 0 ] || { echo "No fuzzer in $build: cmake --preset fuzz && cmake --build --preset fuzz" >&2; exit 2; }

# The bytes of an input that are worth trying, by target.
longest() {
  case $1 in text) echo 300 ;; model) echo 2000 ;; *) echo 600 ;; esac
}
export ASAN_OPTIONS=${ASAN_OPTIONS:-malloc_context_size=4}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1}

# One run of libFuzzer in the folder of its target; it ends with the first finding.
fuzz() { # TARGET SECONDS
  local at=$dir/$1 log
  mkdir -p "$at/corpus" "$at/findings"
  log=$at/log.$(date +%s.%N)
  local arguments=(-max_total_time="$2" -max_len="$(longest "$1")" -len_control=0 -entropic=0
    -timeout="$timeout" -rss_limit_mb=3000 -report_slow_units=10 -print_final_stats=1
    -artifact_prefix="$at/findings/")
  local dictionary=$source/fuzz/$1.dict
  [ ! -f "$dictionary" ] || arguments+=(-dict="$dictionary")
  local inputs=("$at/corpus") folder
  for folder in "$source/fuzz/corpus/$1" "$source/fuzz/regressions/$1"; do
    [ ! -d "$folder" ] || inputs+=("$folder")
  done
  local TIMEFORMAT='CPU seconds: %U'
  # The process writes its number, by which a run that goes on is found.
  { time bash -c 'echo "process $$"; exec "$@"' run $idle "$build/fuzz/fuzz_$1" "${arguments[@]}" \
      "${inputs[@]}"; } > "$log" 2>&1
}

# The last number of that name in a log: from the statistics, or from a run that goes on.
number() { # LOG PATTERN
  { grep -aoE "$2" "$1" || true; } | tail -n 1 | grep -oE '[0-9.]+' | tail -n 1
}
cpuOf() { # LOG
  local seconds process
  seconds=$(number "$1" '^CPU seconds: [0-9.]+')
  process=$(number "$1" '^process [0-9]+')
  if [ -z "$seconds" ] && [ -r "/proc/$process/stat" ]; then
    seconds=$(awk -v hertz="$(getconf CLK_TCK)" '{ print $14 / hertz }' "/proc/$process/stat")
  fi
  echo "${seconds:-0}"
}
slowest() { # TARGET: of the 200 longest inputs of the corpus, the one that takes longest, run alone
  find "$dir/$1/corpus" -type f -printf '%s %p\0' | sort -zrn | head -zn 200 | cut -zd' ' -f2- | xargs -0 -r "$build/fuzz/fuzz_$1" -timeout=600 2>&1 |
    awk '/^Executed / { if ($4 + 0 >= most) { most = $4 + 0; name = $2 } } END { print most " ms", name }'
}
sumUp() {
  printf '%-11s %10s %12s %9s %9s %7s %9s  %s\n' \
    target CPU-s executions edges features inputs findings 'slowest input'
  local target log
  for target in "${targets[@]}"; do
    [ -d "$dir/$target/corpus" ] || continue
    local cpu=0 executions=0 edges=0 features=0 value
    for log in "$dir/$target"/log.*; do
      cpu=$(awk "BEGIN { print $cpu + $(cpuOf "$log") }")
      value=$(number "$log" '^#[0-9]+' | tr -d '#')
      executions=$((executions + ${value:-0}))
      value=$(number "$log" 'cov: [0-9]+'); [ "${value:-0}" -le "$edges" ] || edges=$value
      value=$(number "$log" 'ft: [0-9]+'); [ "${value:-0}" -le "$features" ] || features=$value
    done
    printf '%-11s %10.0f %12d %9d %9d %7d %9d  %s\n' "$target" "$cpu" "$executions" "$edges" \
      "$features" "$(find "$dir/$target/corpus" -type f | wc -l)" \
      "$(find "$dir/$target/findings" -type f ! -name 'slow-unit-*' | wc -l)" "$(slowest "$target")"
  done
}

status=0
if [ -z "$sum" ]; then
  for target in "${targets[@]}"; do
    end=$((SECONDS + seconds))
    # After a finding, it goes on: the next one may be another.
    for _ in 1 2 3 4 5; do
      left=$((end - SECONDS))
      [ "$left" -gt 0 ] || break
      fuzz "$target" "$left" || status=1
    done
  done
fi
sumUp
if [ "$status" != 0 ]; then
  echo
  grep -ahE -A3 '^==FINDING==|^==[0-9]+== ?ERROR|runtime error|Assertion' "$dir"/*/log.* | head -n 40
  for target in "${targets[@]}"; do
    for input in "$dir/$target"/findings/*; do
      [ ! -f "$input" ] || echo "Try again: $build/fuzz/fuzz_$target $input"
    done
  done
fi
exit "$status"
