#!/usr/bin/env bash
# Runs every fuzz target for the given number of seconds, each with its own
# corpus (seeded from fuzz/seeds/<name> when present) and dictionary.
set -euo pipefail
build=$1
seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)
for exe in "$build"/fuzz/fuzz_*; do
  [ -x "$exe" ] || continue
  name=$(basename "$exe")
  corpus="$here/corpus-$name"
  mkdir -p "$corpus"
  seeds=()
  [ -d "$here/seeds/$name" ] && seeds+=("$here/seeds/$name")
  dict=()
  [ -f "$here/$name.dict" ] && dict+=("-dict=$here/$name.dict")
  echo "== $name for ${seconds}s"
  "$exe" "$corpus" "${seeds[@]}" "${dict[@]}" -max_total_time="$seconds" -print_final_stats=1 -entropic=0 \
    -artifact_prefix="$here/" 2>&1 | tail -n 12
done
