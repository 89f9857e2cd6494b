#include "util/find_flag.h"
#include "util/terminate.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

int find_flag(int argc, char** argv, const char* flag, int start) {
  for (int i = start < 0 ? 0 : start; i < argc; ++i) {
    const char* arg = argv[i];
    if (arg && arg[0] == '-' && std::strcmp(arg + 1, flag) == 0) return i;
  }
  return -1;
}

namespace {

struct FileCloser {
  void operator()(std::FILE* f) const { std::fclose(f); }
};

// Reads the next white-space separated word. A word counts only when the end of
// the file was not reached while reading it, so a last word without a
// following blank or line end is dropped.
bool NextWord(std::FILE* f, std::string& word) {
  word.clear();
  int c;
  while ((c = std::fgetc(f)) != EOF && std::isspace(static_cast<unsigned char>(c))) {
  }
  if (c == EOF) return false;
  do {
    word.push_back(static_cast<char>(c));
  } while ((c = std::fgetc(f)) != EOF && !std::isspace(static_cast<unsigned char>(c)));
  if (c == EOF) return false;
  std::ungetc(c, f);
  return true;
}

// The values returned stay alive until the process ends (callers keep the
// pointers), one copy of each distinct value.
char* Kept(const std::string& value) {
  static std::deque<std::string> store;
  static std::unordered_map<std::string, char*> by_text;
  const auto it = by_text.find(value);
  if (it != by_text.end()) return it->second;
  store.push_back(value);
  return by_text[value] = store.back().data();
}

}  // namespace

char* find_attribut_in_file(const char* file, const char* attribute) {
  std::unique_ptr<std::FILE, FileCloser> f(std::fopen(file, "r"));
  if (!f) {
    std::printf("*** probleme pour ouvrir le fichier <%s> ***\n", file);
    kluteida_internal::Terminate(1);
  }
  std::deque<std::string> words;
  std::vector<char*> pointers;
  for (std::string word; NextWord(f.get(), word);) {
    words.push_back(word);
    pointers.push_back(words.back().data());
  }
  const int at = find_flag(static_cast<int>(pointers.size()), pointers.data(), attribute, 0);
  if (at < 0 || at + 1 >= static_cast<int>(pointers.size())) return nullptr;
  return Kept(words[static_cast<size_t>(at) + 1]);
}
