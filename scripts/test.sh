#!/usr/bin/env bash
# Installs what is missing, builds everything (application, tests, benchmarks) and runs the tests,
# then the package test, which installs a product into this machine: it runs after the suite, so
# nothing else is looking at /usr meanwhile, and only where installing is allowed, that is as root
# (CI) or when MNEMORA_PACKAGE_TEST=1 asks for it through sudo (MNEMORA_PACKAGE_TEST=0 skips it).
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/setup.sh
jobs=$(nproc)
cmake -S . -B build -G Ninja -DMNEMORA_WERROR=ON >/dev/null
cmake --build build -j"$jobs"
ctest --test-dir build --output-on-failure -j"$jobs" --timeout 300

package_test=${MNEMORA_PACKAGE_TEST:-auto}
if [ "$package_test" = 1 ] || { [ "$package_test" = auto ] && [ "$(id -u)" -eq 0 ]; }; then
  ./scripts/package-test.sh build
fi
