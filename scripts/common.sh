# shellcheck shell=bash
# Sourced by ./run, ./test and the check scripts. Expects `root`, the checkout's folder.

die() {
    echo "${0##*/}: $*" >&2
    exit 2
}

# Checkouts in several folders share what was compiled.
export CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1

# build FOLDER PRESET [CMAKE-OPTION...] [-- TARGET...]: configures and builds; one at a time in each folder.
build() {
    local folder=$1 preset=$2 options=() fresh=() seal
    shift 2
    while (($#)) && [[ $1 != -- ]]; do
        options+=("$1")
        shift
    done
    (($#)) && shift
    mkdir -p "$root/$folder"
    seal=$root/$folder/configured
    (
        flock 8
        # Options that were set by hand, or by an earlier preset, are forgotten.
        sha256sum --status -c "$seal" 2>/dev/null || fresh=(--fresh)
        (cd "$root" && cmake --preset "$preset" -B "$folder" "${fresh[@]}" "${options[@]}" >"$folder.log" 2>&1) || {
            cat "$root/$folder.log" >&2
            exit 1
        }
        sha256sum "$root/$folder/CMakeCache.txt" "$root/CMakePresets.json" >"$seal"
        # Ninja writes what it does to stdout, compiler messages included.
        ninja -C "$root/$folder" -j "${JOBS:-$(nproc)}" "$@"
    ) 8>"$root/$folder.lock"
}
