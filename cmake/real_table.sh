# shellcheck shell=bash
# Sourced by the scripts, after packages.sh and a build.

# make_real_table FILE: the address ranges of the package tor-geoipdb as prefixes, made anew when the
# package is newer than the file. Fails, with a word about it, when the package cannot be had;
# ends the script when the ranges are no good.
make_real_table() {
    local ranges=(/usr/share/tor/geoip /usr/share/tor/geoip6)
    need_packages tor-geoipdb || {
        echo "== the package tor-geoipdb cannot be installed: only the project's own small table is there"
        return 1
    }
    if [ ! -s "$1" ] || [ "${ranges[0]}" -nt "$1" ]; then
        echo "== splitting address ranges into prefixes"
        build/release/bin/geoip_to_table "${ranges[@]}" >"$1.new" && mv "$1.new" "$1" || {
            echo "error: the address ranges cannot be split" >&2
            exit 1
        }
    fi
}
