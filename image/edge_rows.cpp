// The edge-row rule: how many rows beyond its own a stripe (or any piece of
// a frame with an edge code) may read above and below.
#include "parallel/stripe.h"

extern "C" void GetEdgeUpAndDown(int edgeType, int& up, int& down,
                                 int margin) {
  switch (edgeType) {
    case VD_EDGE_INTERIOR: up = margin; down = margin; break;
    case VD_EDGE_BOTTOM: up = margin; down = 0; break;
    case VD_EDGE_TOP: up = 0; down = margin; break;
    default: up = 0; down = 0; break;
  }
}
