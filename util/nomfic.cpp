#include "util/nomfic.h"

#include <cstdlib>
#include <cstring>
#include <string_view>

char* nomfic(const char* name, const char* suffix) {
  std::string_view full(name);
  std::string_view::size_type slash = full.rfind('/');
  std::string_view::size_type base = slash == std::string_view::npos ? 0 : slash + 1;
  std::string_view::size_type dot = full.rfind('.');
  std::string_view::size_type cut = dot == std::string_view::npos || dot < base ? full.size() : dot;
  constexpr std::string_view kManual = "_MANU";
  if (cut >= kManual.size() && full.substr(cut - kManual.size(), kManual.size()) == kManual)
    cut -= kManual.size();
  size_t suffix_len = std::strlen(suffix);
  char* out = static_cast<char*>(std::malloc(full.size() + suffix_len + 1));
  if (!out) return nullptr;
  std::memcpy(out, name, cut);
  std::memcpy(out + cut, suffix, suffix_len + 1);
  return out;
}
