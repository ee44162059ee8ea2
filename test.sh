#!/usr/bin/env bash
# Builds Sigillo with AddressSanitizer and UndefinedBehaviorSanitizer and runs
# the whole suite (unit, end-to-end, COBOL, ABI and fuzz-corpus replays).
set -euo pipefail
cd "$(dirname "$0")"
source scripts/deps.sh
ensure_packages "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"

export CC=clang CXX=clang++
cmake -S . -B build-test -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSIGILLO_SANITIZE=ON -DSIGILLO_FUZZ=ON -DSIGILLO_TESTS=ON >/dev/null
ninja -C build-test
export ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --test-dir build-test --output-on-failure -j2 --timeout 900
