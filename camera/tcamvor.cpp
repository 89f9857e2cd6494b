#include "camera/tcamvor.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "camera/camera_files.h"
#include "util/int_conversion.h"

namespace {

using camera_files::ReadInts;
using camera_files::ReadNumbers;

const char kGridsDiffer[] = "Correction grids of calibration file %s do not match\n";
const char kGridTooLarge[] =
    "Correction grid of calibration file %s has a size the file cannot hold\n";

constexpr double kThousand = 1000.0;
constexpr double kMillion = 1e6;
constexpr double kBillion = 1e9;

// Node (x, y) of a grid; 0 outside it.
double Node(const TImage& grid, int x, int y) {
  if (x >= grid.width || y >= grid.height) return 0.0;
  double v;
  std::memcpy(&v, grid.data + (static_cast<size_t>(y) * grid.width + x) * sizeof v, sizeof v);
  return v;
}

// Refuses sizes that no file of the remaining length could hold: every node
// takes at least four characters (two digits and two separators).
void CheckGridSize(std::FILE* f, int height, int width, const char* path) {
  const long long left = camera_files::BytesLeft(f);
  if (height < 0 || width < 0 || height > 65535 || width > 65535 ||
      (left >= 0 && static_cast<long long>(height) * width > left / 4))
    camera_files::Refuse(kGridTooLarge, path);
}

// Two grids of height x width nodes read as pairs, rows outer, each value
// divided by 10^6; the first value that cannot be read ends the reading (the
// nodes from there on stay 0).
void ReadGrids(std::FILE* f, int height, int width, TImage** g0, TImage** g1) {
  const auto w = static_cast<unsigned short>(width), h = static_cast<unsigned short>(height);
  *g0 = new TImage(w, h, kTypeDouble, 1, nullptr, 0, 0);
  *g1 = new TImage(w, h, kTypeDouble, 1, nullptr, 0, 0);
  auto* p0 = reinterpret_cast<double*>((*g0)->data);
  auto* p1 = reinterpret_cast<double*>((*g1)->data);
  for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) {
    double pair[2];
    if (std::fscanf(f, "%lf %lf", &pair[0], &pair[1]) != 2) return;
    p0[i] = pair[0] / kMillion;
    p1[i] = pair[1] / kMillion;
  }
}

// The bilinear correction of a grid at q (pixels / GridStep); 0 where the
// read is refused.
double Correction(TImage* grid, const TMatrix& q) {
  double value = 0.0;
  grid->GetSubPixelIntensity(q.elem[0][0], q.elem[1][0], reinterpret_cast<unsigned char*>(&value));
  return value;
}

bool IsPoint(const TMatrix& m) { return m.nRows >= 2 && m.nCols >= 1; }

}  // namespace

TCamvor::TCamvor()
    : GridOn(0),
      Tag(0),
      Info8(),
      Info6(),
      StoredValue(0),
      MapOriginX(0),
      MapOriginY(0),
      MapMode(0),
      Center(new TMatrix(3, 1)),
      FocalPix(0),
      Rot(new TMatrix(3, 3)),
      RotInv(Rot->Inverse()),
      PixelSizeX(0),
      PixelSizeY(0),
      PixelSize(0),
      Extent2(0),
      Extent1(0),
      PrincipalPoint(new TMatrix(2, 1)),
      Focal(0),
      GridStep(0),
      GridFP0(nullptr),
      GridFP1(nullptr),
      GridPF0(nullptr),
      GridPF1(nullptr) {}

TCamvor::TCamvor(const char* path) : TCamvor() {
  camera_files::File file = camera_files::Open(path, "r");
  std::FILE* f = file.get();
  std::fscanf(f, "%*s");  // the keyword
  ReadInts(f, &GridOn, 1);
  ReadInts(f, &Tag, 1);
  ReadInts(f, Info8, 8);
  ReadInts(f, Info6, 6);
  double v[9];
  ReadNumbers(f, v, 3);
  StoredValue = v[0] / kThousand;
  MapOriginX = v[1];
  MapOriginY = v[2];
  ReadInts(f, &MapMode, 1);
  ReadNumbers(f, v, 3);
  for (int i = 0; i < 3; ++i) Center->elem[i][0] = v[i];
  ReadNumbers(f, v, 1);
  FocalPix = v[0] / kThousand;
  ReadNumbers(f, v, 9);  // column by column
  for (int i = 0; i < 9; ++i) Rot->elem[i % 3][i / 3] = v[i] / kBillion;
  delete RotInv;
  RotInv = Rot->Inverse();
  ReadNumbers(f, v, 2);
  PixelSizeX = v[0] / kMillion;
  PixelSizeY = v[1] / kMillion;
  PixelSize = (PixelSizeX + PixelSizeY) * 0.5;
  ReadInts(f, &Extent1, 1);
  ReadInts(f, &Extent2, 1);
  ReadNumbers(f, v, 2);
  PrincipalPoint->elem[0][0] = v[0] / kThousand;
  PrincipalPoint->elem[1][0] = v[1] / kThousand;
  Focal = FocalPix * PixelSize;

  int header[4];  // nodes, height, width, GridStep
  ReadInts(f, header, 4);
  GridStep = header[3];
  CheckGridSize(f, header[1], header[2], path);
  if (static_cast<long long>(header[1]) * header[2] != header[0])
    camera_files::Refuse(kGridsDiffer, path);
  ReadGrids(f, header[1], header[2], &GridFP0, &GridFP1);
  ReadInts(f, header, 3);  // height, width, GridStep again
  GridStep = header[2];
  if (header[0] != GridFP0->height || header[1] != GridFP0->width)
    camera_files::Refuse(kGridsDiffer, path);
  ReadGrids(f, header[0], header[1], &GridPF0, &GridPF1);
}

TCamvor::~TCamvor() {
  for (TMatrix* m : {Center, Rot, RotInv, PrincipalPoint}) delete m;
  for (TImage* g : {GridFP0, GridFP1, GridPF0, GridPF1}) delete g;
}

int TCamvor::Save(const char* path) const {
  camera_files::File file = camera_files::Open(path, "w");
  std::FILE* f = file.get();
  std::fprintf(f, "TEXT\n%d\n%d\n", GridOn, Tag);
  for (int i = 0; i < 8; ++i) std::fprintf(f, i < 7 ? "%d " : "%d\n", Info8[i]);
  for (int i = 0; i < 6; ++i) std::fprintf(f, i < 5 ? "%d " : "%d\n", Info6[i]);
  std::fprintf(f, "%d\n", TruncateToInt(StoredValue * kThousand));
  std::fprintf(f, "%d %d\n", TruncateToInt(MapOriginX), TruncateToInt(MapOriginY));
  std::fprintf(f, "%d\n", MapMode);
  std::fprintf(f, "%d %d %d\n", TruncateToInt(Center->elem[0][0]),
               TruncateToInt(Center->elem[1][0]), TruncateToInt(Center->elem[2][0]));
  std::fprintf(f, "%d\n", TruncateToInt(FocalPix * kThousand));
  for (int c = 0; c < 3; ++c)
    std::fprintf(f, "%d %d %d\n", RoundToInt(Rot->elem[0][c] * kBillion),
                 RoundToInt(Rot->elem[1][c] * kBillion), RoundToInt(Rot->elem[2][c] * kBillion));
  std::fprintf(f, "%d %d\n", TruncateToInt(PixelSizeX * kMillion),
               TruncateToInt(PixelSizeY * kMillion));
  std::fprintf(f, "%d %d\n", Extent1, Extent2);
  std::fprintf(f, "%d %d\n", TruncateToInt(PrincipalPoint->elem[0][0] * kThousand),
               TruncateToInt(PrincipalPoint->elem[1][0] * kThousand));
  // The pixel-to-film grid's header repeats the film-to-pixel grid's size.
  const int height = GridFP0 ? GridFP0->height : 0, width = GridFP0 ? GridFP0->width : 0;
  const auto nodes = [&](const TImage* g0, const TImage* g1) {
    if (!g0 || !g1) return;
    for (int y = 0; y < g0->height; ++y)
      for (int x = 0; x < g0->width; ++x)
        std::fprintf(f, "%d %d\n", RoundToInt(Node(*g0, x, y) * kMillion),
                     RoundToInt(Node(*g1, x, y) * kMillion));
  };
  std::fprintf(f, "%d\n%d %d %d\n", width * height, height, width, GridStep);
  nodes(GridFP0, GridFP1);
  std::fprintf(f, "%d %d %d\n", height, width, GridStep);
  nodes(GridPF0, GridPF1);
  std::fprintf(f, "\n");
  return 1;
}

TMatrix* TCamvor::PixelToFilm(const TMatrix& pixel) const {
  if (!IsPoint(pixel)) return nullptr;
  TMatrix corr(2, 1);
  if (GridOn && GridPF0 && GridPF1) {
    const std::unique_ptr<TMatrix> q(pixel / GridStep);
    corr.elem[0][0] = Correction(GridPF0, *q);
    corr.elem[1][0] = Correction(GridPF1, *q);
  }
  corr += pixel;
  corr -= *PrincipalPoint;
  return PixelSize * corr;
}

TMatrix* TCamvor::FilmToPixel(const TMatrix& film) const {
  if (!IsPoint(film)) return nullptr;
  TMatrix corr(2, 1);
  TMatrix* p = film / PixelSize;
  *p += *PrincipalPoint;
  if (GridOn && GridFP0 && GridFP1) {
    const std::unique_ptr<TMatrix> q(*p / GridStep);
    corr.elem[0][0] = Correction(GridFP0, *q);
    corr.elem[1][0] = Correction(GridFP1, *q);
  }
  *p += corr;
  return p;
}
