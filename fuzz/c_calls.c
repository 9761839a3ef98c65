/* Calls made the way a C client makes them: an enumeration argument is any
 * int the client passes (C does not limit it to the enumerators). */
#include "morphology/se_morphology.h"

int VdFuzzMorphologyFromC(int type, unsigned char* src, unsigned char* dst,
                          int width, int height, sVNRPoint* element) {
  return Morphology(type, src, dst, width, height, element, 0, 0);
}

int VdFuzzEroseOrDilateFromC(int type, unsigned char* src, unsigned char* dst,
                             int width, int height, sVNRPoint* element) {
  return EroseOrDilate(type, src, dst, width, height, 1, 0, element, 0);
}
