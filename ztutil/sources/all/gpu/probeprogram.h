// The GLSL program that the compile probe hands to a driver, and the OpenCL program whose kernel it times.
#ifndef ZTUTIL_PROBEPROGRAM_H_
#define ZTUTIL_PROBEPROGRAM_H_

// The texts stand as they are handed over. Drivers join the elements with nothing in between, so that where
// an element ends makes no difference to them; blanks at an end do no harm.
extern const char* const VertexProgramLines[13];
extern const char* const FragmentProgramLines[76];

// Each work item multiplies its element 4096 times by two factors.
extern const char* const kComputeKernelSource;
extern const char* const kComputeKernelName;

#endif  // ZTUTIL_PROBEPROGRAM_H_
