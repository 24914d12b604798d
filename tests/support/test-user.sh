# Sourced by the session scripts that run as root: makes the unprivileged test user $user once, lets
# it reach the command (the first argument), the scripts and the given folders (passage only, o+x),
# and fills `keep` with the environment the session carries over to it.
# Usage: prepare_test_user SCRIPT_NAME COMMAND [FOLDER…]
prepare_test_user() {
    local script=$1 command=$2 dir
    shift 2
    id -u "$user" >/dev/null 2>&1 || useradd --create-home --shell /bin/bash "$user" || {
        echo "$script: cannot create the test user $user" >&2
        exit 1
    }
    for dir in "$(dirname "$(readlink -f "$(command -v "$command" || echo "$command")")")" "$here" "$PWD" "$@"; do
        while [ "$dir" != / ]; do
            runuser -u "$user" -- test -x "$dir" || chmod o+x "$dir"
            dir=$(dirname "$dir")
        done
    done
    keep=(PATH="$PATH" LANG="${LANG:-C.UTF-8}")
    local name
    while IFS='=' read -r name _; do
        case "$name" in
        ASAN_OPTIONS | LSAN_OPTIONS | UBSAN_OPTIONS | TROVIX_* | QT_* | TMPDIR) keep+=("$name=${!name}") ;;
        esac
    done < <(env)
}
