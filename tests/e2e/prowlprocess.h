// Runs prowl, which runs the prober.
#ifndef PROWLPROCESS_H_
#define PROWLPROCESS_H_

#include "proberprocess.h"

#include <nlohmann/json.hpp>

Outcome RunProwl(const Environment& environment, const Texts& arguments, int output = ProberProcess::kPipe);

// prowl's document, and its exit status under "ending". Throws if it isn't JSON.
nlohmann::json RunProwlForJSON(const Environment& environment, Texts arguments);

#endif  // PROWLPROCESS_H_
