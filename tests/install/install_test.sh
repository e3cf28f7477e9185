#!/bin/sh
# Installs a build to a prefix of its own and builds a consumer against it in both documented ways:
# install_test.sh BUILD_FOLDER SOURCE_FOLDER C_COMPILER GENERATOR
set -eu
build=$1
source=$2
compiler=$3
generator=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
library=$(dirname "$(find "$prefix" -name 'libzirconlite.so')")
test -f "$prefix/include/zirconlite/zirconlite.h"
test -f "$prefix/share/zirconlite/zr3.uni"
for file in LICENSE docs/embedding.md examples/embed/main.c examples/courtyard/courtyard.toml; do
    test -f "$prefix/share/doc/zirconlite/$file"
done
if grep -r "$source" "$library/cmake" "$library/pkgconfig" "$prefix/include"; then
    echo "the installed files name the source tree" >&2
    exit 1
fi

echo "find_package"
cmake -G "$generator" -S "$source/tests/install/consumer" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_COMPILER="$compiler" >"$work/configure.log"
cmake --build "$work/consumer" >"$work/build.log"
LD_LIBRARY_PATH="$library" "$work/consumer/consumer"

echo "pkg-config"
export PKG_CONFIG_PATH="$library/pkgconfig"
"$compiler" -std=c11 "$source/tests/install/consumer/main.c" -o "$work/by_pkg_config" \
    $(pkg-config --cflags --libs zirconlite)
LD_LIBRARY_PATH="$library" "$work/by_pkg_config"
test -f "$(pkg-config --variable=resourcesdir zirconlite)/zr3.uni"
