// RGB byte colour with a table of display colours, hue, saturation, intensity.
#ifndef KLUTEIDA_IMAGE_TCOLOR_H
#define KLUTEIDA_IMAGE_TCOLOR_H

class TColor {
 public:
  unsigned char red;
  unsigned char green;
  unsigned char blue;

  // Black, red, green, blue, yellow, white, cyan, magenta.
  static const unsigned char ColorTab[8][3];
  static int ColorTabSize;
  // A random colour drawn once at program start (TColor(8)).
  static TColor scolor;

  TColor(unsigned char r, unsigned char g, unsigned char b) : red(r), green(g), blue(b) {}
  // 0..7: the table colour; 8: a random colour from rand(); 9: a copy of
  // scolor; any other index: black.
  explicit TColor(int index);

  unsigned char Intensity() const;
  unsigned char Saturation() const;
  unsigned char Hue() const;
  unsigned char GetChannel(int channel) const;  // 1 red, 2 green, 3 blue, else 0
};

#endif  // KLUTEIDA_IMAGE_TCOLOR_H
