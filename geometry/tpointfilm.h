// Point in the film (focal) plane of a camera.
#ifndef KLUTEIDA_GEOMETRY_TPOINTFILM_H
#define KLUTEIDA_GEOMETRY_TPOINTFILM_H

// In the camera's film units; declared ordinate first, like TPointImg.
struct TPointFilm {
  double y = 0;
  double x = 0;
};

#endif  // KLUTEIDA_GEOMETRY_TPOINTFILM_H
