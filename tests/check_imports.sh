#!/usr/bin/env bash
# Usage: check_imports.sh NM LIBRARY LIST [DOC]
# Fails unless the plugin's undefined dynamic symbols, less the C and C++ runtime (versioned
# symbols, weak references) and cJSON, are exactly the platform functions LIST names, and DOC
# (the README) names each of them.
set -euo pipefail
nm="$1"; lib="$2"; list="$3"; doc="${4:-}"
got=$("$nm" -D --undefined-only "$lib" | awk '$1 == "U" && $2 !~ /@/ && $2 !~ /^cJSON_/ {print $2}' | sort)
want=$(grep -v '^#' "$list" | grep . | sort)
if [ "$got" != "$want" ]; then
  echo "imported platform functions differ from $list (< library only, > list only):"
  diff <(echo "$got") <(echo "$want") | grep '^[<>]' || true
  exit 1
fi
if [ -n "$doc" ]; then
  undocumented=$(echo "$want" | while read -r f; do grep -qw -- "$f" "$doc" || echo "$f"; done)
  if [ -n "$undocumented" ]; then
    echo "not named in $doc:"; echo "$undocumented"; exit 1
  fi
fi
echo "imports ok: $(echo "$got" | wc -l) platform functions"
