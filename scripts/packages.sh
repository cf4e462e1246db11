# Sourced by the scripts beside it: installs the Debian packages that are missing, if any.
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

build_packages="g++ cmake ninja-build pkg-config libsqlite3-dev libcli11-dev libfmt-dev libssl-dev libedit-dev libutf8proc-dev"
