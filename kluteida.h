// kluteida: stereo photogrammetry library. Includes every public header.
#ifndef KLUTEIDA_H
#define KLUTEIDA_H

#include "camera/maptoground.h"
#include "camera/tcamera.h"
#include "camera/tcamvor.h"
#include "camera/tepipairtransform.h"
#include "geometry/overlap.h"
#include "geometry/planar.h"
#include "geometry/tbox.h"
#include "geometry/tcoord.h"
#include "geometry/tcoordbuffer.h"
#include "geometry/tpoint3d.h"
#include "geometry/tpointfilm.h"
#include "geometry/tpointimg.h"
#include "image/fft.h"
#include "image/median.h"
#include "image/tcolor.h"
#include "image/tcomplex.h"
#include "image/tdispimage.h"
#include "image/timage.h"
#include "image/tmask.h"
#include "image/tpoint.h"
#include "math/tmatrix.h"
#include "util/compare.h"
#include "util/error_msg.h"
#include "util/find_flag.h"
#include "util/nomfic.h"
#include "util/testtiff.h"

#endif  // KLUTEIDA_H
