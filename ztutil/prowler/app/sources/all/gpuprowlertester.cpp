// The sequence of steps. The tests on a GPU stand in gpuprowlertests.cpp.
#include "gpuprowlertester.h"

#include "reportlines.h"
#include "system/standardstreams.h"

#include <kgx/context.h>
#include <kgx/exception.h>
#include <kgx/opencltable.h>
#include <ztutil/fmt.h>
#include <ztutil/ztlogging.h>

#include <stdexcept>

namespace {

ztutil::DebugFlag gGPUProwler{"GPUProwler"};

// Tags the GPUs in their order: glgpu[0], glgpu[1] and so on.
template <class GPUs>
TaggedGPUList Tagged(const char* word, const GPUs& gpus) {
  TaggedGPUList list;
  for (const auto& gpu : gpus)
    list.push_back({std::string(word) + "[" + std::to_string(list.size()) + "]", gpu});
  return list;
}

// ": " and the reason of an exception of the graphics layer.
std::string Reason(const KGX::LogicalException& exception) {
  return std::string(": ") + (exception.message() != nullptr ? exception.message() : "<NULL>");
}

// Whether the attempt comes to its end; if not, the log has the text and the reason.
template <class Attempt>
bool Succeeds(const char* failure, Attempt attempt) {
  try {
    attempt();
    return true;
  } catch (const KGX::LogicalException& exception) {
    ZT_LOG(gGPUProwler, failure << Reason(exception));
  } catch (...) {
    ZT_LOG(gGPUProwler, failure);
  }
  return false;
}

}  // namespace

std::string TextOfCurrentException() {
  try {
    throw;
  } catch (const KGX::LogicalException& exception) {
    return "KGX::LogicalException" + Reason(exception);
  } catch (const std::exception& exception) {
    return std::string("exception: ") + (exception.what() != nullptr ? exception.what() : "<NULL>");
  } catch (...) {
    return "unknown exception";
  }
}

GPUProwlerTester::GPUProwlerTester(GPUProwlerApp* app) : fApp(app) {}

GPUProwlerTester::~GPUProwlerTester() = default;

void GPUProwlerTester::Run() {
  fStepCount = 0;
  DoRunTester();
  DoRunTimestamp(ProwlerKey::kProwlerStart);
  DoRunKGXCoreInitialize();
  DoRunKGXOGLInitialize();
  DoRunAnyGLGPU();
  DoRunEnumerateGLGPUs();
  DoRunGLTests();
  DoRunKGXOCLInitialize();
  if (fOpenCLAvailable) {
    DoRunEnumerateCLGPUs();
    DoRunCLTests();
  }
  DoRunEnumerateNativeGPUs();
  DoRunNativeTests();
  DoRunTimestamp(ProwlerKey::kProwlerEnd);
  CountStep();
}

void GPUProwlerTester::DoRunTester() { CountStep(); }

void GPUProwlerTester::DoRunKGXCoreInitialize() {
  PutValue(ProwlerKey::kKGXCoreInitialized, 1);
  CountStep();
}

void GPUProwlerTester::DoRunKGXOGLInitialize() {
  ZT_LOG_SCOPE(gGPUProwler, "DoRunKGXOGLInitialize");
  PutValue(ProwlerKey::kKGXOGLInitialized, Succeeds("KGX::OGL::Library::initialize() failed", [] {
             KGX::OGL::Library::Initialize(KGX::OGL::Library::InitOptions());
           }));
  CountStep();
}

void GPUProwlerTester::DoRunAnyGLGPU() {
  ZT_LOG_SCOPE(gGPUProwler, "DoRunAnyGLGPU");
  PutValue(ProwlerKey::kOGLContextCreated, Succeeds("Cannot create default ContextOffscreen", [] {
             const KGX::OGL::ContextOffscreen context(KGX::OGL::Context::PrimaryDisplayDevice());
           }));
  CountStep();
}

void GPUProwlerTester::DoRunEnumerateGLGPUs() {
  ZT_LOG_SCOPE(gGPUProwler, "DoRunEnumerateGLGPUs");
  const GLGPUList gpus = CreateGPUImpl()->GetGPUs();
  PutValue(ProwlerKey::kNumGLGPUs, gpus.size());
  fGLGPUs = Tagged(ProwlerKey::kGLGPU, gpus);
  CountStep();
}

void GPUProwlerTester::DoRunKGXOCLInitialize() {
  ZT_LOG_SCOPE(gGPUProwler, "DoRunKGXOCLInitialize");
  fOpenCLAvailable = KGX::OCL::Library::IsOpenCLAvailable("");
  if (!fOpenCLAvailable) return;
  ZT_LOG(gGPUProwler, "DoRunKGXOCLInitialize: KGX::OCL::Library::initialize();");
  KGX::OCL::Library::Initialize();
}

void GPUProwlerTester::DoRunEnumerateCLGPUs() {
  ZT_LOG_SCOPE(gGPUProwler, "DoRunEnumerateCLGPUs");
  const CLGPUList gpus = CreateGPUImpl()->GetCLGPUs();
  PutValue(ProwlerKey::kNumCLGPUs, gpus.size());
  fCLGPUs = Tagged(ProwlerKey::kCLGPU, gpus);
  CountStep();
}

void GPUProwlerTester::DoRunEnumerateNativeGPUs() {
  const NativeGPUList gpus = CreateGPUImpl()->GetNativeGPUs();
  PutValue(ProwlerKey::kNumNativeGPUs, gpus.size());
  fNativeGPUs.clear();
  CountStep();
}

void GPUProwlerTester::CountStep() {
  const std::uint32_t count = fStepCount++;
  if (count >= fCrashAfter) {
    DoCrash();
    GPUProwlerTester::DoCrash();
  }
  if (count == fThrowAfter) throw std::runtime_error("Programmed throw");
}

void GPUProwlerTester::DoCrash() { throw std::runtime_error("programmed failure"); }

std::string GPUProwlerTester::GetTimestamp() const {
  const ztutil::CalendarTime time = ztutil::LocalCalendarTime(ztutil::Now());
  std::string text;
  ztutil::FmtPrintf(text, "%04d-%02d-%02d_%02d:%02d:%02d", time.year, time.month, time.day, time.hour,
                    time.minute, static_cast<int>(time.second + 0.5));
  return text;
}

void GPUProwlerTester::DoRunTimestamp(const std::string& key) {
  PutText(key, GetTimestamp());
  CountStep();
}

void GPUProwlerTester::RunTestOnGPUs(TaggedGPUList& list, const GPUTest& test) {
  for (auto current = list.begin(); current != list.end();) {
    try {
      test(*this, *current);
      ++current;
      continue;
    } catch (...) {
      ztutil::WriteStderrLine(TextOfCurrentException());
    }
    ZT_LOG(gGPUProwler, "Testing terminated for " << current->fTag);
    AddFailure();
    current = list.erase(current);
  }
}
