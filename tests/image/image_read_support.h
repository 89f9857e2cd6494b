// Reading image files in a child process, so that a reader that ends the
// process can be observed: its exit status, its output and the `error` it
// left behind.
#ifndef KLUTEIDA_TESTS_IMAGE_IMAGE_READ_SUPPORT_H
#define KLUTEIDA_TESTS_IMAGE_IMAGE_READ_SUPPORT_H

#include <functional>
#include <memory>
#include <string>

#include "image/timage.h"
#include "test_support.h"

namespace imagetest {

struct ReadOutcome : testsupport::ChildResult {
  int error = -1;                 // the global `error` when the reader returned or exited
  std::unique_ptr<TImage> image;  // the image read again in this process, when status is 0
};

// Runs `make` in a child; when it returns there, runs it again here with
// standard output silenced and keeps the image.
ReadOutcome ReadWith(const std::function<TImage*()>& make);
// TImage(name).
ReadOutcome Read(const std::string& name);

// The whole buffer, Size() bytes.
std::string AllBytes(const TImage& image);

// What error_msg("File opening/reading failed\n") prints.
const std::string kReadFailed = testsupport::Fatal("File opening/reading failed\n");

}  // namespace imagetest

#endif  // KLUTEIDA_TESTS_IMAGE_IMAGE_READ_SUPPORT_H
