#!/usr/bin/env bash
# usage: consumer_test.sh <build dir> <consumer source dir> <scratch dir>
set -euo pipefail
build=$1 src=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in bin/kluteida lib/libkluteida.a include/kluteida/kluteida.h \
         include/kluteida/math/tmatrix.h include/kluteida/image/timage.h \
         lib/cmake/kluteida/kluteidaConfig.cmake lib/cmake/kluteida/kluteidaConfigVersion.cmake \
         lib/pkgconfig/kluteida.pc; do
  [ -e "$prefix/$f" ] || { echo "missing after install: $f"; exit 1; }
done

expected='0.500000 -0.125000'

# 1. CMake package.
cmake -S "$src" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
out=$("$work/cmake-build/consumer")
[ "$out" = "$expected" ] || { echo "find_package consumer printed: $out"; exit 1; }

# 2. pkg-config.
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
g++ -std=c++17 -o "$work/pc-consumer" "$src/main.cpp" $(pkg-config --cflags --libs kluteida)
out=$("$work/pc-consumer")
[ "$out" = "$expected" ] || { echo "pkg-config consumer printed: $out"; exit 1; }
echo "both consumers built and ran"
