#!/usr/bin/env bash
# Installs the dependencies, builds with AddressSanitizer and
# UndefinedBehaviorSanitizer, and runs every test.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-san
"$root/scripts/deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DSYS_SANITIZE=ON >/dev/null
cmake --build "$build" -j"$(nproc)"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
(cd "$build" && ctest --output-on-failure -j"$(nproc)")
# The configuration-image readers against hostile input, for a bounded time.
bash "$root/fuzz/run.sh" "${FUZZ_SECONDS:-30}"
# The device build: big-endian MIPS, its tests under emulation.
bash "$root/tests/mips/run.sh"
