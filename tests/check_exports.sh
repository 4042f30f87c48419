#!/usr/bin/env bash
# Usage: check_exports.sh NM LIBRARY
# Fails unless the plugin's dynamic symbol table defines exactly the four exported names.
set -euo pipefail
nm="$1"
lib="$2"
got=$("$nm" -D --defined-only "$lib" | awk '{print $3}' | sort)
want=$(printf '%s\n' IFMPlugin_MDTLM_Init g_ifmpluginMdtlm_commonStatTag g_ifmpluginMdtlm_ipStatTag \
  g_ifmpluginMdtlm_mibStatTag | sort)
if [ "$got" != "$want" ]; then
  echo "exported symbols differ"; echo "got:"; echo "$got"; echo "want:"; echo "$want"; exit 1
fi
echo "exports ok: $(echo "$got" | tr '\n' ' ')"
