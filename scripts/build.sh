#!/usr/bin/env bash
# Configures and builds one flavour of the project.
# Usage: build.sh [release|asan|tsan] [cmake --build arguments...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
flavour=${1:-release}; shift || true
case $flavour in
  release) extra=() ;;
  asan)    extra=(-DVQUTIL_SANITIZE=address,undefined -DCMAKE_BUILD_TYPE=RelWithDebInfo
                  -DVQUTIL_BUILD_BENCH=OFF -DVQUTIL_BUILD_TOOLS=OFF) ;;
  tsan)    extra=(-DVQUTIL_SANITIZE=thread -DCMAKE_BUILD_TYPE=RelWithDebInfo
                  -DVQUTIL_BUILD_BENCH=OFF -DVQUTIL_BUILD_TOOLS=OFF) ;;
  *) echo "unknown flavour: $flavour (release, asan or tsan)" >&2; exit 2 ;;
esac
dir=$root/build/$flavour
cmake -S "$root" -B "$dir" -G Ninja "${extra[@]}" > /dev/null
cmake --build "$dir" -j2 "$@"
