// ".dim": the text companion that gives the geometry of the headerless formats
// ("ima", "imw", "imf", "rvb"). Line 1 holds the width and the height; an
// optional line 2, as written "-offset_x %d -offset_y %d", the offsets (read
// as a word, a number, a word, a number).
#include <cstdio>
#include <cstring>

#include "image/formats/formats.h"
#include "image/timage.h"
#include "util/error_msg.h"

namespace image_formats {

namespace {

// The offset line is read as fgets would read it into a buffer of this many
// characters; GetImaDim reads it with a longer one.
constexpr size_t kOffsetLineLimit = 80;
constexpr size_t kGetImaDimLineLimit = 200;

const char kSizeLine[] = "%d %d\n";
const char kOffsetLine[] = "-offset_x %d -offset_y %d\n";
const char kOffsetScan[] = "%*s %d %*s %d";
const char kCompanionOpenFailed[] = "ER_FILE_OPEN";

// Reads line 1 into the sizes and, when there is a second line, the offsets
// it holds. Returns the number of sizes read (0 to 2).
int ParseDim(std::FILE* f, size_t line_limit, int* width, int* height, int* offset_x,
             int* offset_y) {
  const int sizes = std::fscanf(f, kSizeLine, width, height);
  const std::string line = ReadLine(f, line_limit);
  if (!line.empty()) std::sscanf(line.c_str(), kOffsetScan, offset_x, offset_y);
  return sizes < 0 ? 0 : sizes;
}

}  // namespace

std::string CompanionName(const char* name) {
  const char* dot = std::strrchr(name, '.');
  const size_t stem = dot ? static_cast<size_t>(dot - name) : std::strlen(name);
  return std::string(name, stem) + ".dim";
}

int ReadCompanion(const char* name, Dim* dim) {
  File f = OpenForReading(CompanionName(name).c_str());
  if (!f) return kOpenFailed;
  *dim = Dim();
  const int sizes = ParseDim(f.get(), kOffsetLineLimit, &dim->width, &dim->height, &dim->offset_x,
                             &dim->offset_y);
  if (sizes != 2 || dim->width < 0 || dim->height < 0) return kOpenFailed;
  return kRead;
}

int ApplyCompanion(TImage& image, const char* name, unsigned short frames, unsigned char type) {
  Dim dim;
  const int status = ReadCompanion(name, &dim);
  if (status != kRead) return status;
  image.width = static_cast<unsigned short>(dim.width);
  image.height = static_cast<unsigned short>(dim.height);
  image.offset_x = dim.offset_x;
  image.offset_y = dim.offset_y;
  image.frames = frames;
  image.type = type;
  return kRead;
}

void WriteCompanion(const TImage& image, const char* name) {
  File f(std::fopen(CompanionName(name).c_str(), "w"));
  if (!f) error_msg(kCompanionOpenFailed);
  WriteText(f, kSizeLine, image.width, image.height);
  WriteText(f, kOffsetLine, image.offset_x, image.offset_y);
  CloseWritten(f);
}

}  // namespace image_formats

int GetImaDim(const char* name, int* width, int* height, int* offset_x, int* offset_y) {
  image_formats::File f = image_formats::OpenForReading(name);
  if (!f) return 0;
  image_formats::ParseDim(f.get(), image_formats::kGetImaDimLineLimit, width, height, offset_x,
                          offset_y);
  return 1;
}
