# shellcheck shell=bash
# Sourced by the check scripts: every check prints one line, "ok - NAME", "not ok - NAME" or "skip - NAME: REASON", which
# ./test counts.

# Checks print their own failures; a failing command inside one must not end the script.
set -uo pipefail

scratch=$(mktemp -d "${TMPDIR:-/tmp}/varnosv-check.XXXXXX")

# check NAME COMMAND...: passes when the command succeeds; its output is shown when it does not.
check() {
    local name=$1
    shift
    if "$@" >"$scratch/output" 2>&1; then
        echo "ok - $name"
    else
        echo "not ok - $name"
        tail -n 20 "$scratch/output" | sed 's/^/    /'
        echo "    command: $*"
        return 1
    fi
}

skip() { echo "skip - $1: $2"; }

# equal ACTUAL EXPECTED: for use with check.
equal() {
    [[ $1 == "$2" ]] || {
        echo "is       '$1'"
        echo "expected '$2'"
        return 1
    }
}

# matches ACTUAL REGEX: for use with check.
matches() {
    [[ $1 =~ $2 ]] || {
        echo "is            '$1'"
        echo "does not match $2"
        return 1
    }
}

# within SECONDS COMMAND...: waits until the command succeeds; fails when it does not in time. Where all is slower, `patience`
# multiplies the time.
within() {
    local deadline=$((SECONDS + $1 * ${patience:-1}))
    shift
    until "$@"; do
        ((SECONDS < deadline)) || {
            echo "not within the time: $*"
            return 1
        }
        sleep 0.05
    done
}
