#!/usr/bin/env bash
# Installs what is missing, builds the tools (Release, in build/), generates
# the sample into build/sample/, turns its coordinate raster into a coloured
# point cloud with kluteida, then runs the whole chain with kluteida-stereo on
# the sample's stereo pair and says how far the recovered terrain lies from
# the true one.
set -euo pipefail
cd "$(dirname "$0")"
bash cmake/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release
cmake --build build -j"$(nproc)" --target kluteida_tool kluteida_stereo_tool \
  kluteida_make_sample kluteida_check_sample

sample=build/sample
mkdir -p "$sample"
./build/samples/kluteida_make_sample "$sample"
(cd "$sample" && ../tools/kluteida 1 terrain.cor terrain_rgb.rvb terrain.bin)

points=$(wc -l < "$sample/terrain.asc")
echo
echo "Point cloud: $(pwd)/$sample/terrain.asc ($points points, X Y Z in metres and R G B)"
echo "Count file:  $(pwd)/$sample/terrain.txt ($(cat "$sample/terrain.txt"))"

echo
echo "The whole chain on the sample's stereo pair:"
(cd "$sample" && ../tools/kluteida-stereo left.rvb right.rvb left.cam right.cam stereo.tif \
  --disparity -24:24 --method 3band --ply --preview stereo_preview.png)
(cd "$sample" && ../samples/kluteida_check_sample stereo.cor left.cam right.cam)
echo
echo "Disparities: $(pwd)/$sample/stereo.tif; coordinate raster: stereo.cor + stereo.dim"
echo "Cloud: $(pwd)/$sample/stereo.asc and stereo.ply; preview: $(pwd)/$sample/stereo_preview.png"
