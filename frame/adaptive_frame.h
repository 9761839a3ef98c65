// The adaptive method: a motion-compensated recursive temporal filter with a
// noise-following edge-preserving spatial pass, for 4:2:0 frames in any
// layout.
//
// Per frame: the noise is measured (spatially on flat blocks, and over time
// where the picture stood still) and fitted as variance = a * Y + b; block
// motion is searched on a quarter-resolution luma from the previous result,
// then refined at full resolution; each pixel blends the frame with its
// motion-compensated prediction with a Kalman-like gain 1 / (n + 1) that
// grows while the 3x3 difference stays within what the noise explains and
// restarts where it does not; chroma follows the luma's decision and its own
// check; finally an edge-preserving 3x3 filter removes what the blend left,
// its threshold following the noise and the history length.
//
// One state block holds everything; planning and running a frame allocate
// nothing and start no thread. Integer arithmetic throughout.
#ifndef VD_FRAME_ADAPTIVE_FRAME_H_
#define VD_FRAME_ADAPTIVE_FRAME_H_

#include <stddef.h>

#include "frame/phase.h"
#include "image/frame_view.h"

struct VdAdaptive;

// Bytes of one block holding a denoiser for frames up to the given size
// (0 when the size is not even and at least 16 in each direction).
size_t VdAdaptiveStateSize(int max_width, int max_height);
// Carves the state out of memory (VdAdaptiveStateSize bytes, aligned to 16
// at least); null when the size is invalid. Allocates nothing.
VdAdaptive* VdAdaptiveInit(void* memory, int max_width, int max_height);
// Forgets the history: the next frame starts afresh.
void VdAdaptiveReset(VdAdaptive* a);
// Plans one frame: fills phases (at most VD_MAX_PHASES) and returns their
// count, or 0 when the frames do not fit (size odd, below 16 or above the
// maximum, or src and dst of different sizes). Running the phases in order
// denoises src into dst; src and dst may be the same memory or differ in
// layout. A change of size starts the history afresh. type and iso are
// accepted for the interface's sake: the strength follows the noise measured
// in the frames themselves.
int VdAdaptivePlan(VdAdaptive* a, const VdFrameView* src,
                   const VdFrameView* dst, int type, int iso,
                   VdPhase* phases);

#endif  // VD_FRAME_ADAPTIVE_FRAME_H_
