// The attribute file, asked for an attribute named by the first bytes.
#include "fuzz_support.h"
#include "util/find_flag.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input in(data, size);
  std::string attribute = in.Part();
  attribute.resize(attribute.find('\0') == std::string::npos ? attribute.size() : attribute.find('\0'));
  const std::string name = fuzz::File("a.txt", in.Rest());
  fuzz::Survives([&] { find_attribut_in_file(name.c_str(), attribute.c_str()); });
  return 0;
}
