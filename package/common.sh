# Functions for the scripts that make and check the packages.
# shellcheck shell=bash

die() {
    printf '%s: %s\n' "${0##*/}" "$1" >&2
    exit 1
}

# From here on all output goes to a log, which is shown when the script fails; `say` prints on the screen.
keep_log() {
    exec 3>&1 4>&2 >"$1" 2>&1
    # shellcheck disable=SC2064 # the name, as it is now
    trap "[ \$? -eq 0 ] || cat '$1' >&4" EXIT
}

say() {
    printf '%s\n' "$1" >&3
}

# Installs the packages that are missing.
install_missing() {
    local missing=() package
    for package; do
        [ "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" = 'install ok installed' ] || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    apt-get update -q
    env DEBIAN_FRONTEND=noninteractive apt-get install -qy --no-install-recommends "${missing[@]}"
}

# Prints the code name and the address of each Debian archive that apt uses.
# shellcheck disable=SC2016 # apt's own variables
list_archives() {
    local format='$(ORIGIN) $(COMPONENT) $(CODENAME) $(REPO_URI)'
    apt-get indextargets --format "$format" 'Created-By: Packages' | sed -n 's|^Debian main \(.*[^/]\)/*$|\1|p' | sort -u
}

# Prints the first mirror of apt that has a release of Debian.
find_mirror() { # RELEASE
    local mirror
    [ -n "$(list_archives)" ] || apt-get update -q >&2
    while read -r _ mirror; do
        ! has_release "$mirror" "$1" || { printf '%s\n' "$mirror" && return; }
    done < <(list_archives)
    return 1
}

has_release() { # MIRROR RELEASE
    wget -q --spider --tries=2 --timeout=20 "$1/dists/$2/InRelease"
}

# Runs a command in namespaces of its own for mounts and processes, so that an interrupted run leaves none behind.
isolated=
isolated() {
    unshare --mount --pid --fork --kill-child --mount-proc -- "$@" &
    isolated=$!
    wait "$isolated"
    isolated=
}

# As process 1 of its namespace such a command ignores the signals that end this script.
stop_on_signals() {
    trap '[ -z "$isolated" ] || kill -KILL "$isolated"; exit 130' HUP INT TERM
}

in_system() { # DIRECTORY COMMAND...
    isolated chroot "$1" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C DEBIAN_FRONTEND=noninteractive \
        ${http_proxy:+http_proxy="$http_proxy"} sh -c 'mount -t proc proc /proc && exec "$@"' sh "${@:2}"
}

# Sets up a base system, unless the directory has one with these packages. An empty MIRROR means one of apt's. The system gets
# its name only when it is complete, so the next run starts again after an interrupted one. The lists of apt stay, because
# they hold the checksums of the packages.
set_up_system() { # DIRECTORY RELEASE MIRROR COMPONENTS KEYRING PACKAGE...
    local new=$1.new mirror=$3 packages=("${@:6}")
    [ "$(cat "$1/set-up-with" 2>/dev/null)" != "${packages[*]}" ] || return 0
    [ -n "$mirror" ] || mirror=$(find_mirror "$2") || die "no mirror of apt's has $2; name one: ${0##*/} MIRROR"
    say "Setting up a base system, $2"
    rm -rf --one-file-system "$new" "$1"
    isolated debootstrap --variant=minbase --force-check-gpg --components="$4" ${5:+--keyring="$5"} "$2" "$new" "$mirror"
    in_system "$new" apt-get update -q
    in_system "$new" apt-get install -qy --no-install-recommends "${packages[@]}"
    in_system "$new" apt-get clean
    printf '%s\n' "${packages[*]}" >"$new/set-up-with"
    mv "$new" "$1"
}
