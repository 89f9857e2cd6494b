#include <cstdio>

int main() {
  std::printf("Usage: <nbr images> <coor 1> <image 1> ... <coor N> <image N> <point.bin> "
              "[-cadre Xmin Xmax Ymin Ymax Zmin Zmax]\n");
  return 1;
}
