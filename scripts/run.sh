#!/usr/bin/env bash
# Installs what is missing, builds an optimised Quillmate and starts it. Arguments go to quillmate.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release
exec build/release/bin/quillmate "$@"
