// Reading and writing the camera models' text files. Internal to the camera
// code.
#ifndef KLUTEIDA_CAMERA_CAMERA_FILES_H
#define KLUTEIDA_CAMERA_CAMERA_FILES_H

#include <cstdio>
#include <memory>
#include <string>

class TMatrix;

namespace camera_files {

struct Closer {
  void operator()(std::FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<std::FILE, Closer>;

// Opens a camera, calibration or epipolar file; one that cannot be opened
// prints " File <path> not found" and ends the process with status 1.
File Open(const char* path, const char* mode);

// Prints " <text>" with the path in place of %s and ends the process with
// status 1: a camera file that cannot give a usable camera.
[[noreturn]] void Refuse(const char* text, const char* path);

// Reads `count` numbers with fscanf's "%lf" into out[0..count). A number
// that cannot be read, and every one after it, is 0.
void ReadNumbers(std::FILE* f, double* out, int count);
void ReadInts(std::FILE* f, int* out, int count);

// One line as fgets reads it into a buffer of `limit` characters: at most
// limit - 1 characters, up to and including the line end.
std::string ReadLine(std::FILE* f, size_t limit);

// Bytes between the stream position and the end of a regular file; -1 for
// anything else.
long long BytesLeft(std::FILE* f);

// A rows x cols matrix of `values`, row by row.
TMatrix* MatrixOf(int rows, int cols, const double* values);

}  // namespace camera_files

#endif  // KLUTEIDA_CAMERA_CAMERA_FILES_H
