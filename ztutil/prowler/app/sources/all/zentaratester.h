// What the product asks of the prober beyond the general sequence.
#ifndef ZENTARATESTER_H_
#define ZENTARATESTER_H_

#include "gpuprowlertester.h"

class ZentaraTester : public GPUProwlerTester {
 public:
  explicit ZentaraTester(GPUProwlerApp* app) : GPUProwlerTester(app) {}
  ~ZentaraTester() override;

  // GPUProwlerTester
  void DoRunTester() override;   // names the tester; counts two steps
  void DoRunGLTests() override;  // and the capability values that the product depends on
  void DoRunCLTests() override;  // and the compute measurement

  // Test of an OpenCL device, as the others.
  virtual void DoRunCLCompute(const std::string& tag, const CLGPU& gpu);
};

#endif  // ZENTARATESTER_H_
