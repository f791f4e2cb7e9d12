// What a run of the prober has found, as an answer has it.
#ifndef GPUPROWLER_FINDINGS_H_
#define GPUPROWLER_FINDINGS_H_

#include "run/proberrun.h"

#include <gpuprowler/answer.h>

#include <vector>

namespace gpuprowler {

// All of it but what only the asker knows: which drivers there were.
Run RunOf(const RunResult& result, const Judgement& judgement);

// In the report's order; without run, driver and adapter.
std::vector<GPU> GPUsOf(const RunResult& result);

}  // namespace gpuprowler

#endif  // GPUPROWLER_FINDINGS_H_
