// Map coordinates (a stereographic projection of the sphere of radius
// 6366000, plus a height) to a local ground frame whose origin is the tangent
// point (x0, y0) on the sphere, third axis up, and back. `mode` is accepted
// and not used.
#ifndef KLUTEIDA_CAMERA_MAPTOGROUND_H
#define KLUTEIDA_CAMERA_MAPTOGROUND_H

void MapToGround(double x, double y, double h, double& X, double& Y, double& Z, double x0,
                 double y0, int mode);
void GroundToMap(double X, double Y, double Z, double& x, double& y, double& h, double x0,
                 double y0, int mode);

#endif  // KLUTEIDA_CAMERA_MAPTOGROUND_H
