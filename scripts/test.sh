#!/usr/bin/env bash
# Installs what is missing, builds everything (application, tests, benchmarks) and runs the tests.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh
jobs=$(nproc)
cmake -S . -B build -G Ninja -DMNEMORA_WERROR=ON >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs" --timeout 300
