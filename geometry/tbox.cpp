#include "geometry/tbox.h"

#include <cstdio>

#include "geometry/cfile.h"
#include "util/error_msg.h"

namespace {

const char kBoxOpenError[] = "Error opening box file\n";
const char kCornerLine[] = "%12d %12d\n";

}  // namespace

void TBox2D::Init(const char* name) {
  geometry_detail::CFile file(std::fopen(name, "r"));
  if (!file) error_msg(kBoxOpenError);
  p1.Read(file.get());
  p2.Read(file.get());
}

int TBox2D::Save(const char* name) const {
  geometry_detail::CFile file(std::fopen(name, "w"));
  if (!file) error_msg(kBoxOpenError);
  std::fprintf(file.get(), kCornerLine, p1.x, p1.y);
  std::fprintf(file.get(), kCornerLine, p2.x, p2.y);
  return 1;
}
