#!/usr/bin/env bash
# The demo: reads the bundled example score and shows its events.
set -euo pipefail
cadenzium=$1
here=$(cd "$(dirname "$0")" && pwd)
echo "== cadenzium check examples/etude.cad --events"
"$cadenzium" check "$here/etude.cad" --events
echo
echo "== cadenzium follow examples/etude.cad --midi examples/etude.mid"
"$cadenzium" follow "$here/etude.cad" --midi "$here/etude.mid"
