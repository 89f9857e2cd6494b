#!/usr/bin/env bash
# Runs fuzz targets on copies of their seed corpora, one target per core at a
# time (JOBS=n for n at a time).
#   bash fuzz/run.sh <build dir> <seconds> [target ...]      each for a while
#   bash fuzz/run.sh <build dir> --runs <n> [target ...]     each for n executions
# The build dir is one configured with CXX=clang++ -DKLUTEIDA_FUZZ=ON. New
# inputs go to <build dir>/corpus/<target>, findings (crash-*, leak-*,
# timeout-*, oom-*) to <build dir>/findings/<target>, each target's log beside
# them. Prints each target's executions, coverage, corpus size, time and
# findings; the status is not 0 if any target found something.
set -uo pipefail
cd "$(dirname "$0")/.."
build=$1
if [ "$2" = "--runs" ]; then
  limit="-runs=$3"
  shift 3
else
  limit="-max_total_time=$2"
  shift 2
fi
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(coord_pair coord_text image mask matrix box attribute camera
                                      calibration epipolar matches)
one() {
  local t=$1 corpus=$build/corpus/$1 findings=$build/findings/$1 log=$build/findings/$1.log
  local start=$SECONDS
  mkdir -p "$corpus" "$findings"
  cp -n fuzz/corpus/$t/* "$corpus"/ 2>/dev/null
  # Limits: 1 s an input, 1 GB an allocation, 2 GB resident; inputs up to 4 KB.
  "$build/fuzz/fuzz_$t" "$corpus" "$limit" -timeout=1 -malloc_limit_mb=1024 -rss_limit_mb=2048 \
      -max_len=4096 -close_fd_mask=3 -artifact_prefix="$findings/" -print_final_stats=1 \
      2> "$log"
  local runs cov
  runs=$(grep -m1 'stat::number_of_executed_units' "$log" | awk '{print $2}')
  cov=$(grep -o 'cov: [0-9]*' "$log" | tail -1)
  echo "$t: ${runs:-?} executions, $cov, corpus $(ls "$corpus" | wc -l)," \
       "$((SECONDS - start)) s, $(ls "$findings" | wc -l) findings"
}
export -f one
export build limit
printf '%s\n' "${targets[@]}" | xargs -P "${JOBS:-$(nproc)}" -I{} bash -c 'one {}'
! find "$build/findings" -mindepth 2 -type f 2>/dev/null | grep -q .
