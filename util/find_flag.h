// Command-line flag look-up and the attribute file built on it.
#ifndef KLUTEIDA_UTIL_FIND_FLAG_H
#define KLUTEIDA_UTIL_FIND_FLAG_H

// Index of the first argument in [start, argc) that is '-' followed by exactly
// `flag` ("cadre" finds "-cadre"); -1 when there is none.
int find_flag(int argc, char** argv, const char* flag, int start);

// Looks up "-<attribute>" among the white-space separated words of `file` and
// returns the word after it, or a null pointer when the attribute is absent.
// A last word not followed by white space is not seen. The returned text stays
// valid for the rest of the process. A file that cannot be opened ends the
// process with "*** probleme pour ouvrir le fichier <file> ***" and status 1.
char* find_attribut_in_file(const char* file, const char* attribute);

#endif  // KLUTEIDA_UTIL_FIND_FLAG_H
