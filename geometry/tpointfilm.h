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

  // Unit viewing direction in object space, a new 3x1 matrix that the caller
  // deletes. Defined with the projection functions.
  TMatrix* Film2VecteurObjet(const TCamera& c) const;
  TMatrix* Film2VecteurObjet(const TCamvor& c) const;
};

#endif  // KLUTEIDA_GEOMETRY_TPOINTFILM_H
