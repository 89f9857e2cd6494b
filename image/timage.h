// Raster image: one of five element types, one or more frames stored planar.
#ifndef KLUTEIDA_IMAGE_TIMAGE_H
#define KLUTEIDA_IMAGE_TIMAGE_H

#include "image/tcomplex.h"
#include "image/tpoint.h"

class TMatrix;
class TMask;

// Status of the last image read: 1 success, 3 open failure, 4 allocation
// failure, 5 short read, 6 short pixel data, 7 unknown extension, 10 bad "uml"
// magic or version.
extern int error;

// Settings of the TIFF writer, process-wide. Save sets `compression` to 1
// (none) before every TIFF write, so the predictor (schemes 5 and 32946) and
// the JPEG settings (scheme 7) never take effect.
extern unsigned short compression;
extern unsigned short predictor;
extern int jpegcolormode;
extern int quality;

// Pixel type codes.
enum : unsigned char {
  kTypeDouble = 2,
  kTypeFloat = 5,
  kTypeComplex = 6,
  kTypeByte = 8,
  kTypeShort = 9,
};

// Element (x, y) of frame f sits at element index (f * height + y) * width + x
// of `data`, in the host byte order. The image owns `data` and releases it with
// free(): a buffer handed to the in-memory constructor must come from malloc or
// calloc.
class TImage {
 public:
  unsigned short width = 0;
  unsigned short height = 0;
  unsigned char type = kTypeByte;
  unsigned short frames = 1;
  char comment[256] = {};
  unsigned short pallette = 1;
  unsigned char itype = 10;
  int offset_x = 0;
  int offset_y = 0;
  unsigned char* data = nullptr;
  unsigned char* red = nullptr;  // planes of an 8-bit three-frame image, not owned
  unsigned char* green = nullptr;
  unsigned char* blue = nullptr;

  // Reads an image file; the format follows from the extension. Any failure
  // ends the process.
  explicit TImage(const char* name);
  // Reads a raw single-frame file of known geometry after skipping `skip` bytes.
  TImage(const char* name, int width, int height, unsigned char type, unsigned short frames,
         int skip);
  // An image in memory: a null `data` gets a zero-filled buffer, otherwise the
  // image adopts `data`.
  TImage(unsigned short width, unsigned short height, unsigned char type, unsigned short frames,
         unsigned char* data, int offset_x, int offset_y);
  TImage(const TImage& other);
  TImage& operator=(const TImage&) = delete;
  virtual ~TImage();

  virtual void Initialize();
  // A display buffer (the caller frees it with free()), or null when memory
  // runs out: (width + width % 2) x height bytes, the image's rows bottom-up,
  // each padded to an even length. Double images give their last row scaled
  // by 0.25 in every output row; other types the bytes of frame 0 shifted
  // right by 2.
  virtual unsigned char* BmpData();
  virtual unsigned char Type() const { return type; }
  virtual unsigned char IType() const { return itype; }

  int BytesPerPixel() const;
  unsigned FrameSize() const;
  unsigned Size() const;
  unsigned short Width() const { return width; }
  unsigned short Height() const { return height; }

  // One element of frame `band` at (x, y) of the enclosing raster, copied into
  // `value` (8 bytes hold any type). 0 outside the image or for a band that the
  // image does not have, 1 when read.
  int GetIntensity(int x, int y, unsigned char* value, int band);

  // Element reads and writes: the plain forms take coordinates of the
  // enclosing raster, the Direct forms local ones. 1 done, 0 outside.
  int GetIntensity(int x, int y, unsigned char* value);
  int GetIntensityDirect(int x, int y, unsigned char* value);
  int GetIntensityDirect(int x, int y, unsigned char* value, int band);
  int GetIntensity(TPoint& p, unsigned char* value);
  int SetIntensity(int x, int y, const unsigned char* value);
  int SetIntensityDirect(int x, int y, const unsigned char* value);
  int SetIntensity(int x, int y, const unsigned char* value, int band);
  int SetIntensityDirect(int x, int y, const unsigned char* value, int band);
  int SetIntensity(TPoint& p, const unsigned char* value);

  // Bilinear read between the four neighbours; 0 at the last row or column.
  int GetSubPixelIntensity(double x, double y, unsigned char* value);
  int GetSubPixelIntensity(double x, double y, unsigned char* value, int band);
  int Average(unsigned char* value);
  int Threshold(unsigned char* value);

  // Window of the matrix's size centred on (x, y) of frame `band`.
  int GetWindow(int x, int y, TMatrix* window, int band);
  // Window of the mask's size; 8-bit images only (0 for other types).
  int GetWindow(int x, int y, TMask* window, int band);
  void GetWindowMedian(int x, int y, int w, int h, unsigned char* value, int band);

  // Writes the image in the format the name's extension gives: "uml", "xv",
  // "rvb" (8-bit three-frame images only), "ima", "imw", "imf" (raw, with a
  // ".dim" companion), "pgm", "tif"/"tiff" (width bytes per row), or "txt" (an
  // empty file). 1 when written, -1 when the TIFF library cannot open the
  // file; any other failure ends the process.
  int Save(const char* name);
  int ChangePallette(unsigned short pallette);  // stores the selector; 1
  int PrintInfo();                              // geometry and type on stdout; 1

  // Whole-image operations. Those that make an image return it on the heap
  // (the caller deletes it) and leave this one as it is; most walk this
  // image in coordinates of its enclosing raster.

  // Every element of frame 0 becomes the element held in `value`.
  void InitValue(const unsigned char* value);
  // A byte image (same size and offsets) of a 16-bit one, its non-zero
  // range mapped onto 0..255 through a single-precision table; null for
  // other types. The range is taken in scan order (rows from the top, each
  // from the left): a value that raises the maximum is not tested against
  // the minimum.
  TImage* Short2Byte();
  // A byte image (same size, offsets 0) of a byte one through the linear
  // table from [in_low, in_high] to [out_low, out_high]; null for other
  // types. Reads (x, y) of the enclosing raster for local x, y, so only an
  // image with offsets 0 is read whole.
  TImage* Stretch(int in_low, int in_high, int out_low, int out_high);
  // Copies the source's values (frame by frame for byte images, the 16-bit
  // element for 16-bit ones) wherever the two meet in the enclosing raster;
  // where the source has no value the last value read is written again.
  // Other types of this image end the process.
  void Copy(TImage& source);
  // The w x h piece from local (x, y), placed at that position of the
  // enclosing raster; byte and 16-bit images only (through Copy).
  TImage* CutWindow(int x, int y, int w, int h);
  // Every factor-th column and row, with this image's offsets; null for a
  // factor below 1.
  TImage* Subsampling(int factor);
  // Adds delta to every element: bytes wrap around modulo 256 (and a delta
  // above 255 changes nothing), 16-bit values are clamped to 0..65535; other
  // types end the process.
  void IncrementByValue(int delta);
  // One frame (0, 1 or 2) as a one-frame image; null when the image has no
  // such frame.
  TImage* GetFrame(int frame);
  // Replaces every element equal to `from` (taken in the element's type) by
  // `to`; returns 1.
  int Replace(double from, double to);

 private:
  // Ends the process for a file that cannot be read, releasing the buffer.
  [[noreturn]] void Fail();
};

// The three-frame byte image whose frames are read from three images of one
// size (null when their sizes differ).
TImage* R_G_B2RGB(TImage& red, TImage& green, TImage& blue);

// Reads the ".dim" file `name`: width and height, and the offsets from an
// optional second line. 0 when the file cannot be opened, else 1.
int GetImaDim(const char* name, int* width, int* height, int* offset_x, int* offset_y);

#include "image/timage_inline.h"  // the Direct element reads and writes

#endif  // KLUTEIDA_IMAGE_TIMAGE_H
