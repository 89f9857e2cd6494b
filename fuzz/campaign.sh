#!/usr/bin/env bash
# The long campaign: every target (or the ones named) until it has made
# <executions> runs, one target per core at a time (JOBS=n for n at a time).
#   bash fuzz/campaign.sh <build dir> <executions> [target ...]
# Same corpora, limits and findings directory as fuzz/run.sh; prints each
# target's executions, coverage, corpus size, time and findings, and is not 0
# if any target found something.
set -uo pipefail
cd "$(dirname "$0")/.."
build=$1
runs=$2
shift 2
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(coord_pair coord_text image mask matrix box attribute camera
                                      calibration epipolar matches)
one() {
  local t=$1 corpus=$build/corpus/$1 findings=$build/findings/$1 start=$SECONDS
  mkdir -p "$corpus" "$findings"
  cp -n fuzz/corpus/$t/* "$corpus"/ 2>/dev/null
  "$build/fuzz/fuzz_$t" "$corpus" -runs="$runs" -timeout=1 -malloc_limit_mb=1024 \
      -rss_limit_mb=2048 -max_len=4096 -close_fd_mask=3 -artifact_prefix="$findings/" \
      -print_final_stats=1 2> "$build/findings/$t.campaign.log"
  local done cov corp
  done=$(grep -m1 'stat::number_of_executed_units' "$build/findings/$t.campaign.log" | awk '{print $2}')
  cov=$(grep -o 'cov: [0-9]*' "$build/findings/$t.campaign.log" | tail -1)
  corp=$(ls "$corpus" | wc -l)
  echo "$t: ${done:-?} executions, $cov, corpus $corp, $((SECONDS - start)) s," \
       "$(ls "$findings" | wc -l) findings"
}
export -f one
export build runs
printf '%s\n' "${targets[@]}" | xargs -P "${JOBS:-$(nproc)}" -I{} bash -c 'one {}'
! find "$build/findings" -mindepth 2 -type f | grep -q .
