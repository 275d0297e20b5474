# shellcheck shell=bash
# Sourced by the checks: the C++ files of the project, from git, or from the tree without git.
project_sources() {
    git ls-files -co --exclude-standard -- "$@" 2>/dev/null | while read -r file; do
        [ -e "$file" ] && echo "$file"
    done
}
