#include "tools/ply.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

struct CloseFile {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

// A vertex as the file holds it: three little-endian doubles, three bytes.
constexpr size_t kVertexBytes = 3 * 8 + 3;

void PutDouble(double v, unsigned char* out) {
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  for (int i = 0; i < 8; ++i) out[i] = static_cast<unsigned char>(bits >> (8 * i));
}

}  // namespace

bool WritePly(const std::string& path, const TCoord& coord, TImage& image, const ExportBox* box,
              long long count) {
  const std::string part = path + ".part";
  std::unique_ptr<std::FILE, CloseFile> f(std::fopen(part.c_str(), "wb"));
  if (!f) return false;
  bool ok = std::fprintf(f.get(),
                         "ply\nformat binary_little_endian 1.0\ncomment written by kluteida-stereo\n"
                         "element vertex %lld\nproperty double x\nproperty double y\n"
                         "property double z\nproperty uchar red\nproperty uchar green\n"
                         "property uchar blue\nend_header\n",
                         count) > 0;
  std::vector<unsigned char> buffer;
  buffer.reserve(4096 * kVertexBytes);
  unsigned char rgb[3] = {0, 0, 0};
  long long written = 0;
  ColourRow colours(image, 0);
  WalkRows(
      coord, RowsOf(coord), [&](int y) { colours = ColourRow(image, y); },
      [&](int x, const TPoint3Di& p) {
        if (!AcceptPoint(p.x, p.y, p.z, box)) return;
        colours.Fetch(x, rgb);
        unsigned char v[kVertexBytes];
        PutDouble(p.x / 100.0, v);
        PutDouble(p.y / 100.0, v + 8);
        PutDouble(p.z / 100.0, v + 16);
        std::memcpy(v + 24, rgb, 3);
        buffer.insert(buffer.end(), v, v + kVertexBytes);
        ++written;
        if (buffer.size() >= 4096 * kVertexBytes) {
          ok = ok && std::fwrite(buffer.data(), 1, buffer.size(), f.get()) == buffer.size();
          buffer.clear();
        }
      });
  ok = ok && std::fwrite(buffer.data(), 1, buffer.size(), f.get()) == buffer.size();
  ok = ok && written == count;
  ok = std::fclose(f.release()) == 0 && ok;
  if (ok && std::rename(part.c_str(), path.c_str()) == 0) return true;
  std::remove(part.c_str());
  return false;
}
