// Output file names: replacing an extension.
#ifndef KLUTEIDA_UTIL_NOMFIC_H
#define KLUTEIDA_UTIL_NOMFIC_H

// Returns a new string (release it with free()) made of `name` cut at the last
// '.' of its last path component (nothing cut when there is none), with a
// trailing "_MANU" removed as well, followed by `suffix`:
// points.bin -> points.asc, scene_MANU.bin -> scene.asc,
// out/dir.d/cloud -> out/dir.d/cloud.asc.
char* nomfic(const char* name, const char* suffix);

#endif  // KLUTEIDA_UTIL_NOMFIC_H
