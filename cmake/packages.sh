# shellcheck shell=bash
# Sourced by the scripts: installs what is missing, and nothing when all is there.

# have_packages PACKAGE...: true when every Debian package is installed.
have_packages() {
    local state
    for package in "$@"; do
        state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) || return 1
        [ "$state" = installed ] || return 1
    done
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        echo "error: installing packages needs root or sudo" >&2
        return 1
    fi
}

# need_packages PACKAGE...: installs the missing ones; fails when that is not possible.
need_packages() {
    local missing=()
    for package in "$@"; do
        have_packages "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "== installing ${missing[*]}"
    as_root apt-get update -qq </dev/null &&
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
            -o Dpkg::Use-Pty=0 "${missing[@]}" </dev/null >/dev/null
}

# shellcheck disable=SC2034  # used by the scripts that source this
build_packages=(g++ cmake ninja-build libgtest-dev libgmock-dev libedit-dev rapidjson-dev python3 python3-jsonschema)
# shellcheck disable=SC2034
packaging_packages=(dpkg-dev file binutils)

# build_preset PRESET [TARGET...]: configures once and builds these, or all; quiet unless something fails.
build_preset() {
    local log preset=$1
    shift
    log=$(mktemp)
    echo "== building preset $preset"
    if ! { cmake --preset "$preset" -G Ninja &&
        cmake --build --preset "$preset" -j "$(nproc)" ${*:+--target "$@"}; } >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}
