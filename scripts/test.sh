#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors and runs every test (unit, gui, e2e).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --test
cmake --preset ci >/dev/null
cmake --build --preset ci
ctest --preset ci "$@"
