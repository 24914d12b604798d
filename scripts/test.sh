#!/usr/bin/env bash
# Installs what is missing, builds Trovix with its tests and runs every test: unit tests headless,
# platform and end-to-end tests each in their own Xvfb session. Then the same suite once more in an
# AddressSanitizer + UndefinedBehaviorSanitizer build (skip it with TROVIX_NO_SANITIZERS=1).
# Arguments go to ctest (for example -L unit, or -R test_guide).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
jobs=$(nproc)

run_suite() { # build-dir, cmake options...
    local build=$1
    shift
    cmake -S "$root" -B "$build" -G Ninja "$@" >/dev/null
    cmake --build "$build" -j "$jobs"
    (cd "$build" && ctest --output-on-failure --timeout 600 -j "$jobs" "${ctest_args[@]}")
}

ctest_args=("$@")
echo "== Tests (Release)"
run_suite "$root/build/test" -DCMAKE_BUILD_TYPE=Release

if [ -z "${TROVIX_NO_SANITIZERS:-}" ]; then
    echo "== Tests (AddressSanitizer + UndefinedBehaviorSanitizer)"
    export ASAN_OPTIONS="detect_leaks=0:abort_on_error=1:detect_stack_use_after_return=0"
    export LSAN_OPTIONS="suppressions=$root/tests/support/lsan.supp:print_suppressions=0"
    export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
    run_suite "$root/build/asan" -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1" -DTROVIX_SANITIZE=ON -DTROVIX_BUILD_BENCH=OFF
fi
