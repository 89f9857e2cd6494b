// A stdio stream closed when it goes out of scope.
#ifndef KLUTEIDA_GEOMETRY_CFILE_H
#define KLUTEIDA_GEOMETRY_CFILE_H

#include <cstdio>
#include <memory>

namespace geometry_detail {

struct CFileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using CFile = std::unique_ptr<std::FILE, CFileCloser>;

}  // namespace geometry_detail

#endif  // KLUTEIDA_GEOMETRY_CFILE_H
