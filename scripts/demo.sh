#!/usr/bin/env bash
# The main job: builds the library and vqtool, then runs vqtool on the
# built-in test image (or on the files given) and writes the results to out/.
# Usage: demo.sh [vqtool arguments...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
"$root/scripts/build.sh" release --target vqtool
mkdir -p "$root/out"
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
if (($#)); then
  "$root/build/release/tools/vqtool" "$@"
else
  "$root/build/release/tools/vqtool" -o "$root/out/vqtool-demo.png" --histogram "$root/out/vqtool-histogram.png"
fi
