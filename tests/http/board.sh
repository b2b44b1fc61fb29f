# shellcheck shell=bash
# Sourced by checks that drive a running board. Expects scripts/checks.sh and `program`; sets `url`, `port`, `media`, `board`.
media=$scratch/media
board=
# Watched for data races, a board is slow; what it sees is written where no end of a process can lose it.
if ldd "$program" 2>/dev/null | grep -q libtsan; then patience=6; fi
# A signal is let in only where the program waits, so that its handler may do anything; a crash stays one.
export TSAN_OPTIONS=log_path=$scratch/tsan:report_signal_unsafe=0:handle_segv=0

# start_board [OPTION...]: on a free port, with media of its own.
start_board() {
    "$program" --port 0 --media "$media" "$@" >"$scratch/board.out" 2>>"$scratch/board.err" &
    board=$!
    within 20 told_address || {
        cat "$scratch/board.out" "$scratch/board.err"
        return 1
    }
    url=$(grep -o 'http://127\.0\.0\.1:[0-9]*' "$scratch/board.out")
    port=${url##*:}
}
told_address() {
    kill -0 "$board" || exit 1
    grep -q 'http://127\.0\.0\.1:[0-9]' "$scratch/board.out"
}

# state JQ-EXPRESSION: a part of the board's state, compact, texts without quotes.
state() { curl -s "$url/board" | jq -cSr "$1"; }
state_is() { [[ $(state "$1") == "$2" ]]; }
gone() { ! kill -0 "$1" 2>/dev/null; }
# ends_well SIGNAL: the board ends by it, with status 0, takes the program along, and no thread of both raced another.
ends_well() {
    local status=0 child
    child=$(pgrep -P "$board")
    kill "-$1" "$board"
    within 10 gone "$board" || return 1
    wait "$board" || status=$?
    board=
    equal "$status" 0 && { [[ -z $child ]] || gone "$child"; } && no_races
}
no_races() { ! grep -h -A40 'WARNING: ThreadSanitizer' "$scratch"/tsan.* "$scratch/board.err" 2>/dev/null; }

end_board() {
    if [[ -n $board ]]; then
        kill -KILL "$board" 2>/dev/null
        wait "$board" 2>/dev/null
    fi
    rm -rf "$scratch"
}
trap end_board EXIT
