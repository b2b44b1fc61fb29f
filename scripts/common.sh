# shellcheck shell=bash
# Sourced by ./run, ./test and the check scripts. Expects `root`, the checkout's folder.

die() {
    echo "${0##*/}: $*" >&2
    exit 2
}

# build FOLDER PRESET [CMAKE-OPTION...] [-- TARGET...]: configures once and builds.
build() {
    local folder=$1 preset=$2 options=()
    shift 2
    while (($#)) && [[ $1 != -- ]]; do
        options+=("$1")
        shift
    done
    (($#)) && shift
    (cd "$root" && cmake --preset "$preset" -B "$folder" "${options[@]}" >"$folder.log" 2>&1) || {
        cat "$root/$folder.log" >&2
        return 1
    }
    # Ninja writes what it does to stdout, compiler messages included.
    ninja -C "$root/$folder" -j "${JOBS:-$(nproc)}" "$@"
}
