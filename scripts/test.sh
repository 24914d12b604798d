#!/usr/bin/env bash
# Installs what is missing, builds Trovix with its tests and runs every test: unit tests headless,
# platform and end-to-end tests each in their own Xvfb session. Then the same suite once more in an
# AddressSanitizer + UndefinedBehaviorSanitizer build with leak checking (skip it with
# TROVIX_NO_SANITIZERS=1). Both passes run even when the first fails; the summary at the end names
# each pass that failed, and the exit status is non-zero if any did.
# Arguments go to ctest (for example -L unit, or -R test_guide).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
jobs=$(nproc)
ctest_args=("$@")
failed=()

run_suite() { # pass name, build-dir, cmake options...
    local name=$1 build=$2
    shift 2
    echo "== Tests ($name)"
    if ! cmake -S "$root" -B "$build" -G Ninja "$@" >/dev/null || ! cmake --build "$build" -j "$jobs"; then
        echo "== $name: the build in $build failed" >&2
        failed+=("$name: build failed (see above)")
        return 0
    fi
    if ! (cd "$build" && ctest --output-on-failure --timeout 600 -j "$jobs" "${ctest_args[@]}"); then
        echo "== $name: tests failed" >&2
        failed+=("$name: tests failed (ctest lists them above)")
    fi
}

run_suite Release "$root/build/test" -DCMAKE_BUILD_TYPE=Release

if [ -z "${TROVIX_NO_SANITIZERS:-}" ]; then
    # Leaks fail a test too; tests/support/lsan.supp lists the system-library caches left out.
    export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:detect_stack_use_after_return=0"
    export LSAN_OPTIONS="suppressions=$root/tests/support/lsan.supp:print_suppressions=0"
    export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
    run_suite "AddressSanitizer + UndefinedBehaviorSanitizer" "$root/build/asan" -DCMAKE_BUILD_TYPE=Debug \
        "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1" -DTROVIX_SANITIZE=ON -DTROVIX_BUILD_BENCH=OFF
else
    echo "== Sanitizer pass skipped (TROVIX_NO_SANITIZERS is set)"
fi

if [ ${#failed[@]} -gt 0 ]; then
    echo "== FAILED" >&2
    printf '   %s\n' "${failed[@]}" >&2
    exit 1
fi
echo "== All test passes succeeded"
