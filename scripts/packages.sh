# Sourced by the other scripts.
# shellcheck shell=bash

# Installs the Debian packages that are missing, if any.
# Usage: need_packages NAME...
need_packages() {
    missing=
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
    done
    [ -z "$missing" ] && return 0
    echo "installing:$missing"
    as_root=
    [ "$(id -u)" -eq 0 ] || as_root=sudo
    $as_root apt-get update -qq
    # shellcheck disable=SC2086
    DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing >/dev/null
}

# Unpacks the source package of a Debian package here, with Debian's changes, from the archives in the machine's own package
# lists. Those lists, which seldom include sources, are not changed. Usage: unpack_sources NAME
unpack_sources() (
    need_packages dpkg-dev
    apt_home=$(mktemp -d)
    trap 'rm -rf "$apt_home"' EXIT
    mkdir -p "$apt_home/lists/partial" "$apt_home/cache/archives/partial"
    # shellcheck disable=SC2016 # apt-get expands them
    archives() { apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' 'Origin: Debian' | sort -u; }
    if [ -z "$(archives)" ]; then # no package lists yet
        if [ "$(id -u)" -eq 0 ]; then apt-get update -qq; else sudo apt-get update -qq; fi
    fi
    archives | while read -r archive suite; do
        echo "deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $archive $suite main"
    done >"$apt_home/sources.list"
    private_apt() {
        apt-get -qq -o Dir::Etc::SourceList="$apt_home/sources.list" -o Dir::Etc::SourceParts=- \
            -o Dir::State::Lists="$apt_home/lists" -o Dir::Cache="$apt_home/cache" \
            -o APT::Sandbox::User="$(id -un)" -o Acquire::Retries=3 "$@"
    }
    private_apt update && private_apt source "$1" >/dev/null
)

# shellcheck disable=SC2034 # used by the scripts
build_packages="g++ cmake ninja-build pkg-config libsqlite3-dev libcli11-dev libfmt-dev libgcrypt20-dev libutf8proc-dev"
