// A frame's work as a sequence of phases. Every item of a phase finishes
// before any item of the next phase starts; the items of one phase touch
// disjoint output rows and run in any order, on any thread. Item boundaries
// never depend on how many threads run them, so the bytes do not either.
#ifndef VD_FRAME_PHASE_H_
#define VD_FRAME_PHASE_H_

typedef void (*VdItemFn)(void* arg, int item);

struct VdPhase {
  VdItemFn run;
  void* arg;
  int items;
  // Which barrier counter of the process-wide API ends this phase (its
  // stripe threads meet there); engine runs ignore it.
  int sync;
};

// The most phases any method's frame has.
enum { VD_MAX_PHASES = 8 };

// Runs phases one after another on the caller's thread (tests, and
// denoisers with one thread).
inline void VdRunPhasesInline(const VdPhase* phases, int count) {
  for (int p = 0; p < count; ++p) {
    for (int i = 0; i < phases[p].items; ++i) phases[p].run(phases[p].arg, i);
  }
}

#endif  // VD_FRAME_PHASE_H_
