// Point in the film (focal) plane of a camera.
#ifndef KLUTEIDA_GEOMETRY_TPOINTFILM_H
#define KLUTEIDA_GEOMETRY_TPOINTFILM_H

class TCamera;
class TCamvor;
class TMatrix;

// In the camera's film units; declared ordinate first, like TPointImg.
struct TPointFilm {
  double y = 0;
  double x = 0;

  // The unit viewing direction in object space, a new 3 x 1 matrix
  // (geometry/projection.h): Rot x (x, y, -Focal) for a TCamera,
  // Rot x (x, y, +Focal) for a TCamvor, divided by its length.
  TMatrix* Film2VecteurObjet(const TCamera& c) const;
  TMatrix* Film2VecteurObjet(const TCamvor& c) const;
};

#endif  // KLUTEIDA_GEOMETRY_TPOINTFILM_H
