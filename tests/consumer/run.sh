#!/usr/bin/env bash
# Installs the build into a temporary prefix and builds a client against it twice: through
# find_package(BrontavaleCore) and through pkg-config.
set -euo pipefail
build_dir=$1
source_dir=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/bvconsumer-XXXXXX")
trap 'rm -rf "$work"' EXIT

cmake --install "$build_dir" --prefix "$work/usr" >/dev/null
export BV_PREFIX="$work/state"

pcdir=$(dirname "$(find "$work/usr" -name brontavale-core.pc | head -n1)")
libdir=$(dirname "$pcdir")

echo "-- find_package(BrontavaleCore)"
cmake -S "$source_dir" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$work/usr" >/dev/null
cmake --build "$work/cmake" >/dev/null
LD_LIBRARY_PATH="$libdir" "$work/cmake/consumer"

echo "-- pkg-config brontavale-core"
# shellcheck disable=SC2046
g++ -o "$work/pkgconfig-consumer" "$source_dir/main.cpp" \
    $(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs brontavale-core)
LD_LIBRARY_PATH="$libdir" "$work/pkgconfig-consumer"
