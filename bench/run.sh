#!/usr/bin/env bash
# Runs every benchmark of an optimised build. Usage: bench/run.sh BUILD_DIR DATA_DIR
set -euo pipefail
build=$1
data=${2:-../shared/data}
export CAD_DATA_DIR=$data
for exe in "$build"/bench/bench_*; do
  [ -x "$exe" ] || continue
  echo "== $(basename "$exe")"
  "$exe" --benchmark_min_time=0.2
done
if [ -x "$build/bench/follow_bench" ]; then
  echo "== follow benchmark"
  "$build/bench/follow_bench" --data "$data/follow"
  echo "== follow benchmark, the same performances rendered to audio"
  "$build/bench/follow_bench" --data "$data/follow" --audio --hop-times
fi
