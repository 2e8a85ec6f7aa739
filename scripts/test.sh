#!/usr/bin/env bash
# Builds and runs every test: the release build (unit tests, exported names,
# the installed package), then the unit tests again under AddressSanitizer +
# UndefinedBehaviorSanitizer and under ThreadSanitizer.
# Usage: test.sh [release|asan|tsan]... (default: all three)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
flavours=("$@")
((${#flavours[@]})) || flavours=(release asan tsan)

export ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1 allocator_may_return_null=1 suppressions=$root/tests/tsan.supp"
export QT_QPA_PLATFORM=offscreen

for flavour in "${flavours[@]}"; do
  echo "=== $flavour ==="
  "$root/scripts/build.sh" "$flavour"
  (cd "$root/build/$flavour" && ctest -j2 --output-on-failure)
done
echo "all tests passed (${flavours[*]})"
