// The match file, loaded as lower matches.
#include "fuzz_support.h"
#include "image/tcandidatelist.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string name = fuzz::File("m.txt", fuzz::Input(data, size).Rest());
  fuzz::Survives([&] {
    TCandidateList list(64, 10, 10);
    list.LoadLowerMatches(name.c_str());
    list.AddCandidate(new TCandidate(0, 1, 8, 8, 8, 10, 0.5));
    list.Support(1, 0);
    list.Save(fuzz::Path("s.txt").c_str());
  });
  return 0;
}
