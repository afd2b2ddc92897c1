# What the scripts that make and check the packages have in common.
# shellcheck shell=bash

die() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    exit 1
}

# All that is printed from here on goes to a log, which is shown when the script fails, and what is said to the screen.
keep_log() {
    exec 3>&1 4>&2 >"$1" 2>&1
    # shellcheck disable=SC2064 # the name, as it is now
    trap "[ \$? -eq 0 ] || cat '$1' >&4" EXIT
}

say() {
    printf '%s\n' "$1" >&3
}

# Installs those of the packages that are missing.
install_missing() {
    local missing=() package
    for package; do
        [ "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" = 'install ok installed' ] || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    apt-get update -q
    env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends "${missing[@]}"
}

# Prints code name and address of each Debian archive that apt uses.
# shellcheck disable=SC2016 # apt's own variables
list_archives() {
    local format='$(ORIGIN) $(COMPONENT) $(CODENAME) $(REPO_URI)'
    apt-get indextargets --format "$format" 'Created-By: Packages' | sed -n 's|^Debian main \(.*[^/]\)/*$|\1|p' | sort -u
}
