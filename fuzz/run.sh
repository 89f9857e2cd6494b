#!/usr/bin/env bash
# Runs every fuzz target for a while on a copy of its seed corpus.
#   bash fuzz/run.sh <build dir> <seconds per target> [target ...]
# The build dir is one configured with CXX=clang++ -DKLUTEIDA_FUZZ=ON. New
# inputs go to <build dir>/corpus/<target>; findings (crash-*, leak-*,
# timeout-*, oom-*) to <build dir>/findings/<target>; the status is not 0 if
# any target found one.
set -uo pipefail
cd "$(dirname "$0")/.."
build=$1
seconds=$2
shift 2
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(coord_pair coord_text image mask matrix box attribute camera
                                      calibration epipolar matches)
status=0
for t in "${targets[@]}"; do
  corpus=$build/corpus/$t
  findings=$build/findings/$t
  mkdir -p "$corpus" "$findings"
  cp -n fuzz/corpus/$t/* "$corpus"/ 2>/dev/null
  # Limits of the campaign: 1 s an input, 1 GB of allocation; inputs up to 4 KB.
  if ! "$build/fuzz/fuzz_$t" "$corpus" -max_total_time="$seconds" -timeout=1 \
        -malloc_limit_mb=1024 -rss_limit_mb=2048 -max_len=4096 -close_fd_mask=3 \
        -artifact_prefix="$findings/" -print_final_stats=1 2> "$build/findings/$t.log"; then
    status=1
  fi
  runs=$(grep -m1 'stat::number_of_executed_units' "$build/findings/$t.log" | awk '{print $2}')
  cov=$(grep -o 'cov: [0-9]*' "$build/findings/$t.log" | tail -1)
  echo "$t: ${runs:-?} executions, $cov, $(ls "$findings" | wc -l) findings"
done
exit $status
