# Debian packages that the build needs, and their installation; sourced by run and test.

packages="g++ cmake imagemagick ninja-build pkg-config libassimp-dev libcli11-dev libfmt-dev libgtest-dev
libjpeg-dev libopenexr-dev libpng-dev libtiff-dev libtomlplusplus-dev nlohmann-json3-dev zlib1g-dev"

is_installed()
{
    dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null | grep -qx installed
}

# What the checks beyond the tests need: fuzz targets, formatting, the reference, the benchmarks.
check_packages="clang clang-format-14 doxygen libbenchmark-dev libclang-rt-dev"

# Installs those of its arguments that are missing.
install_packages()
{
    missing=
    for package in "$@"; do
        is_installed "$package" || missing="$missing $package"
    done
    [ -z "$missing" ] && return 0

    echo "Installing:$missing"
    if [ "$(id -u)" = 0 ]; then
        apt-get update && apt-get install -y --no-install-recommends $missing
    elif command -v sudo >/dev/null && sudo -n true 2>/dev/null || { command -v sudo >/dev/null && [ -t 0 ]; }; then
        sudo apt-get update && sudo apt-get install -y --no-install-recommends $missing
    else
        echo "Packages are missing. Type this as root, then start again:" >&2
        echo "  apt-get install --no-install-recommends$missing" >&2
        exit 1
    fi
}
