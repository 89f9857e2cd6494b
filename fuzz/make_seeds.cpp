// Writes the seed corpus of every fuzz target into <dir>/<target>/, made with
// the library's own writers where there are some:
//   fuzz_make_seeds <dir>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "kluteida.h"

namespace {

std::string g_root, g_scratch;

std::string Slurp(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

void Put(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string Scratch(const std::string& name) { return g_scratch + "/" + name; }

// A part as the targets read it: two length bytes, then the bytes.
std::string Part(const std::string& bytes) {
  return std::string{static_cast<char>(bytes.size() & 0xFF), static_cast<char>(bytes.size() >> 8)} +
         bytes;
}

void Seed(const std::string& target, const std::string& name, const std::string& bytes) {
  const std::string dir = g_root + "/" + target;
  mkdir(dir.c_str(), 0755);
  Put(dir + "/" + name, bytes);
}

// An image of w x h x frames elements of `type` counting up.
TImage* Counting(int w, int h, unsigned char type, int frames) {
  auto* image = new TImage(w, h, type, frames, nullptr, 2, 3);
  for (unsigned i = 0; i < image->Size(); ++i) image->data[i] = static_cast<unsigned char>(i * 7 + 1);
  return image;
}

void Images() {
  const struct {
    const char* ext;
    int selector;
    unsigned char type;
    int frames;
  } formats[] = {{"uml", 0, 1, 1}, {"xv", 2, kTypeFloat, 1}, {"ima", 3, kTypeByte, 1},
                 {"imw", 4, kTypeShort, 1}, {"imf", 5, kTypeFloat, 1}, {"rvb", 6, kTypeByte, 3},
                 {"pgm", 7, kTypeByte, 1}, {"tif", 8, kTypeByte, 1}};
  for (const auto& f : formats) {
    TImage* image = Counting(5, 4, f.type, f.frames);
    const std::string name = Scratch(std::string("s.") + f.ext);
    image->Save(name.c_str());
    delete image;
    std::string seed(1, static_cast<char>(f.selector));
    if (f.selector >= 3 && f.selector <= 6) seed += Part(Slurp(Scratch("s.dim")));
    Seed("image", f.ext, seed + Slurp(name));
  }
  Seed("image", "txt", std::string(1, 1) + "3 2\n1 2.5 -3\n4e2 0.125 -0\n");
  Seed("image", "raw", std::string{9, 4, 3, 2, 8} + "headabcdefghijkl");
}

void Rasters() {
  TCoord c(3, 2, 4, TPoint3Di(100, 200, 300), 5, 7);
  for (int i = 0; i < 6; ++i) c.data[static_cast<size_t>(i)] = TPoint3Di(i, -i, i % 3);
  c.Save(Scratch("r.cor").c_str(), 0, 0, 0, 0);
  Seed("coord_pair", "pair", Part(Slurp(Scratch("r.dim"))) + Slurp(Scratch("r.cor")));
  Seed("coord_text", "text", "3 2 \n1 2 3 4 5 6\n7 8 0 -1 -2 -3\n9 9 9 1 1 1\n");
}

void Files() {
  Seed("mask", "mask", "2 3\n1 2 3\n4 5 300\n");
  TMatrix m(3, 3);
  for (int i = 0; i < 9; ++i) m.elem[i / 3][i % 3] = i * 1.5 - 2 + (i == 4);
  m.Dump(Scratch("m.mat").c_str());
  Seed("matrix", "matrix", Slurp(Scratch("m.mat")));
  TBox2D box;
  box.p1.x = 3, box.p1.y = 7, box.p2.x = -2, box.p2.y = 40;
  box.Save(Scratch("b.box").c_str());
  Seed("box", "box", Slurp(Scratch("b.box")));
  Seed("attribute", "attribute", Part("focal") + "-a 1 -focal 152.3 -b 2\n");
}

void Cameras() {
  const std::string angles =
      "1.0 0.0 0.0 -1.0\n512.0 512.0\n0.0 0.0\n0.01\n-0.02 1.5708\n1000.0 2000.0 1500.0\n0.153\n";
  Seed("camera", "angles", angles);
  Put(Scratch("a.cam"), angles);
  TCamera(Scratch("a.cam").c_str()).Save(Scratch("m.cam").c_str());
  Seed("camera", "matrix", Slurp(Scratch("m.cam")));
  const std::string calibration =
      "TEXT\n1\n7\n1 2 3 4 5 6 7 8\n9 10 11 12 13 14\n1234\n500000 600000\n2\n100 200 300\n"
      "50000000\n0 1000000000 0\n-1000000000 0 0\n0 0 1000000000\n9 10\n1024 768\n"
      "512000 384000\n6\n2 3 16\n0 0\n1000000 0\n2000000 0\n0 0\n0 0\n0 4000000\n2 3 16\n"
      "0 0\n-1000000 0\n0 0\n0 0\n0 0\n0 2000000\n\n";
  Put(Scratch("c.txt"), calibration);
  TCamvor(Scratch("c.txt").c_str()).Save(Scratch("s.txt").c_str());
  Seed("calibration", "calibration", Slurp(Scratch("s.txt")));
  Seed("epipolar", "epipolar",
       "0.153 0.00001 -0.5 -0.5\n0 0 0\n0.1 0 0.2\n1 2\n3 4\n1 0 0\n0 1 0\n0 0 1\n"
       "1 0 0\n0 1 0\n0 0 1\n");
  TCandidateList list(40, 10, 10);
  list.AddMatch(new TCandidate(0, 1, 9, 3, 9, 5, 1.0));
  list.AddMatch(new TCandidate(0, 1, 1, -4, 1, 1, 1.0));
  list.Save(Scratch("m.txt").c_str());
  Seed("matches", "matches", Slurp(Scratch("m.txt")));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_make_seeds <corpus dir>\n");
    return 2;
  }
  g_root = argv[1];
  mkdir(g_root.c_str(), 0755);
  char scratch[] = "/tmp/kluteida_seeds_XXXXXX";
  if (!mkdtemp(scratch)) return 1;
  g_scratch = scratch;
  Images();
  Rasters();
  Files();
  Cameras();
  std::system(("rm -rf " + g_scratch).c_str());
  return 0;
}
