#!/usr/bin/env bash
# Compares the names the shared libraries export with the committed list, so
# that every public name stays letter for letter and no internal helper leaks.
# Usage: check_exports.sh LIST LIBRARY... ; VQUTIL_UPDATE_EXPORTS=1 rewrites LIST.
set -euo pipefail
list=$1; shift
actual=$(for lib in "$@"; do
           nm -D --defined-only -C "$lib" | cut -d' ' -f3-
         done | grep -vE '^(__bss_start|_edata|_end|_init|_fini)$' | LC_ALL=C sort -u)
if [[ "${VQUTIL_UPDATE_EXPORTS:-}" == 1 ]]; then
  printf '%s\n' "$actual" > "$list"
  echo "updated $list"
  exit 0
fi
if ! diff -u "$list" <(printf '%s\n' "$actual"); then
  echo "Exported names differ from $list (- expected, + exported)." >&2
  echo "If the change is intended, rerun with VQUTIL_UPDATE_EXPORTS=1." >&2
  exit 1
fi
echo "$(wc -l < "$list") exported names match"
