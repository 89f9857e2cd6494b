#!/usr/bin/env bash
# Installs what is missing, builds kluteida (Release, in build/), generates the
# sample terrain into build/sample/ and turns it into a coloured point cloud.
set -euo pipefail
cd "$(dirname "$0")"
bash cmake/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j"$(nproc)" --target kluteida_tool kluteida_make_sample

sample=build/sample
mkdir -p "$sample"
./build/samples/kluteida_make_sample "$sample"
(cd "$sample" && ../tools/kluteida 1 terrain.cor terrain_rgb.rvb terrain.bin)

points=$(wc -l < "$sample/terrain.asc")
echo
echo "Point cloud: $(pwd)/$sample/terrain.asc ($points points, X Y Z in metres and R G B)"
echo "Count file:  $(pwd)/$sample/terrain.txt ($(cat "$sample/terrain.txt"))"
