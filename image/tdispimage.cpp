#include "image/tdispimage.h"

TDispImage::TDispImage(unsigned short width, unsigned short height, int offset_x, int offset_y)
    : TImage(width, height, kTypeByte, 1, nullptr, offset_x, offset_y),
      MinDisparity(0),
      MaxDisparity(0) {}

TDispImage::TDispImage(const char* name) : TImage(name), MinDisparity(0), MaxDisparity(0) {}

void TDispImage::Initialize() { TImage::Initialize(); }
