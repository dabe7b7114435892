#!/usr/bin/env bash
# check-layers.sh [SOURCE_DIR]
# Fails when a folder of src/ includes a folder that docs/layers.md does not allow it, or includes
# one of our headers without naming its folder.
set -euo pipefail
root=${1:-"$(cd "$(dirname "$0")/.." && pwd)"}
table="$root/docs/layers.md"

declare -A allowed
while IFS= read -r line; do
  folder=$(sed -E 's/^\| `([a-z]+)` \|.*/\1/' <<<"$line")
  allowed[$folder]=" $(sed -E 's/^\| `[a-z]+` \|(.*)\|$/\1/' <<<"$line" | tr -d '`,—' | xargs) "
done < <(grep -E '^\| `[a-z]+` \|' "$table")

status=0
for dir in "$root"/src/*/; do
  folder=$(basename "$dir")
  if [[ -z "${allowed[$folder]+set}" ]]; then
    echo "layers: src/$folder has no row in docs/layers.md" >&2
    status=1
    continue
  fi
  while IFS=: read -r file number include; do
    target=$(sed -E 's/.*#include "([^"]*)".*/\1/' <<<"$include")
    if [[ "$target" != */* ]]; then
      echo "layers: ${file#"$root"/}:$number includes \"$target\" without its folder" >&2
      status=1
      continue
    fi
    used=${target%%/*}
    if [[ "$used" != "$folder" && "${allowed[$folder]}" != *" $used "* ]]; then
      echo "layers: ${file#"$root"/}:$number: $folder may not include $used (\"$target\")" >&2
      status=1
    fi
  done < <(grep -rnE --include='*.h' --include='*.cpp' '^#include "' "$dir" || true)
done
exit $status
